# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of session.sh and reattach.sh. Small programs stand in for the service and the emulator."""
import os
import pathlib
import signal
import subprocess
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
SERVICE = "vendor.qmx.hardware.bivista@1.1-service"
PROGRAMS = ("bivista-emulator", "bivistactl", "bivista-vts", SERVICE)
NOTHING = "#!/bin/bash\n"
# Opens one descriptor more at each SIGUSR1.
LEAKING = """#!/bin/bash
folder=${0%/*}
trap 'exec {more}</dev/null; touch "$folder/taken"' USR1
echo $$ >"$folder/pid"
while sleep 0.01; do :; done
"""
QUIET = LEAKING.replace("exec {more}</dev/null; ", "")
# A call of the cover, to which the service takes a descriptor.
CALL = """#!/bin/bash
folder=${0%/*}
[ "$1" = at ] || exit 0
until [ -s "$folder/pid" ]; do sleep 0.01; done
rm -f "$folder/taken"
kill -USR1 "$(cat "$folder/pid")"
until [ -e "$folder/taken" ]; do sleep 0.01; done
"""


class SessionTest(unittest.TestCase):
    def setUp(self):
        self.root = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory(prefix="bivista-session-")))
        for name in PROGRAMS:
            self.program(name, NOTHING)

    def program(self, name, text):
        (self.root / name).write_text(text)
        (self.root / name).chmod(0o755)

    def run_it(self, script, *words, path=os.environ["PATH"]):
        ended = subprocess.run([HERE / script, *words], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                               check=False, env={**os.environ, "PATH": f"{self.root}:{path}", "REATTACH_PATIENCE": "1"})
        return ended.returncode, ended.stdout

    def test_wrong_words_are_refused(self):
        for words in ((), (f"{self.root}/absent",), (str(self.root), "0"), (str(self.root), "x"), (str(self.root), "1", "2")):
            self.assertEqual(self.run_it("session.sh", *words), (2, "usage: vm/agreement/session.sh FOLDER [COUNT]\n"))
        usage = "usage: bivista-emulator run --no-cover -- vm/agreement/reattach.sh COUNT [LOG]\n"
        for words in ((), ("0",), ("-1",), ("ten",), ("1234567",), ("1", "2", "3")):
            self.assertEqual(self.run_it("reattach.sh", *words), (2, usage))

    def test_a_program_that_is_missing_is_named(self):
        (self.root / "bivista-vts").unlink()
        for tool in ("bash", "dirname", "env"):
            (self.root / tool).symlink_to(f"/usr/bin/{tool}")
        self.assertEqual(self.run_it("session.sh", str(self.root), path=""),
                         (2, "session.sh: bivista-vts is not on the PATH\n"))

    def test_each_scenario_leaves_what_it_printed_and_its_status(self):
        self.program("bivista-emulator", "#!/bin/bash\necho \"$*\"\n[[ $* != *pen-modes* ]] || exit 3\n")
        out = self.root / "out"
        out.mkdir()
        status, text = self.run_it("session.sh", str(out), "7")
        scenarios = {file.stem for file in (HERE.parent.parent / "scenarios").glob("*.yaml")}
        self.assertEqual(status, 0)
        self.assertEqual({line.split()[-1] for line in text.splitlines()}, scenarios | {"conformance", "reattach", "probe"})
        self.assertEqual({file.stem for file in out.glob("*.out")}, scenarios | {"conformance", "reattach", "probe"})
        self.assertEqual({file.stem: file.read_text() for file in out.glob("*.status")}, {"pen-modes": "3\n"})
        self.assertEqual((out / "pen-modes.out").read_text(), f"play --keep {out} scenarios/pen-modes.yaml\n")
        self.assertEqual((out / "reattach.out").read_text(), f"run --no-cover --journal {out}/reattach.jsonl --"
                         f" vm/agreement/reattach.sh 7 {out}/reattach.log\n")

    def test_a_service_that_keeps_a_descriptor_is_found(self):
        self.program("bivistactl", CALL)
        for service, count, status in ((QUIET, "3", 0), (LEAKING, "1", 0), (LEAKING, "3", 1)):
            (self.root / "pid").unlink(missing_ok=True)
            self.program(SERVICE, service)
            ended, text = self.run_it("reattach.sh", count)
            os.kill(int((self.root / "pid").read_text()), signal.SIGTERM)
            self.assertEqual(ended, status, text)
            self.assertRegex(text, rf"^attachment 1: \d+ descriptors, 1 threads; attachment {count}: \d+ descriptors, 1 threads\n$")

    def test_a_cover_that_does_not_come_up_is_told(self):
        self.program("bivistactl", "#!/bin/bash\nexit 1\n")
        self.assertEqual(self.run_it("reattach.sh", "2"), (1, "reattach.sh: attachment 1: the cover does not come up\n"))


if __name__ == "__main__":
    unittest.main()
