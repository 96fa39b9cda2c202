# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of check-kernel.sh: what it ends with, and what it says. Small programs stand in for machine and sessions."""
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent
MACHINE = "#!/bin/bash\necho \"$*\" >machine\necho 'the console'\nexit %d\n"
SESSION = "#!/bin/bash\necho \"$*\" >session\ntouch \"$1/attach.jsonl\" \"$HIDL_SOCKET_DIR/socket\"\nexit %d\n"
COMPARE = "#!/bin/bash\necho \"compared $*\"\nexit %d\n"
LONG = "#!/bin/bash\necho long\nexit %d\n"
RUN_TEST = "import unittest\nclass A(unittest.TestCase):\n    def test_it(self):\n        self.assertTrue(True)\n"
HANGING = "#!/bin/bash\necho $$ >pid\nexec sleep 1000\n"


class CheckKernelTest(unittest.TestCase):
    def setUp(self):
        self.root = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory(prefix="bivista-check-kernel-")))
        for name in ("check-kernel.sh", "common.sh", "progress.sh"):
            (self.root / "scripts").mkdir(exist_ok=True)
            shutil.copy(ROOT / "scripts" / name, self.root / "scripts" / name)
        (self.root / "temporary").mkdir()
        self.program("tools/cmake", "#!/bin/sh\n")
        self.program("vm/run.sh", MACHINE % 0)
        self.program("vm/agreement/session.sh", SESSION % 0)
        self.program("vm/agreement/compare.py", COMPARE % 0)
        self.program("vm/long.sh", LONG % 0)
        self.program("vm/run_test.py", RUN_TEST)

    def program(self, name, text):
        (self.root / name).parent.mkdir(parents=True, exist_ok=True)
        (self.root / name).write_text(text)
        (self.root / name).chmod(0o755)

    def start(self, *words):
        return subprocess.Popen([self.root / "scripts/check-kernel.sh", *words], stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, text=True, env={
                                    **os.environ, "PATH": f"{self.root}/tools:{os.environ['PATH']}",
                                    "TMPDIR": f"{self.root}/temporary"})

    def run_it(self, *words):
        with self.start(*words) as process:
            out = process.communicate()[0]
        self.assertEqual(list((self.root / "temporary").iterdir()), [])
        return process.returncode, out.splitlines()

    def test_both_worlds_do_the_same_and_are_compared(self):
        status, lines = self.run_it()
        compared = "compared build/kernel/emulated build/kernel/kernel"
        self.assertEqual(status, 0)
        self.assertIn(compared, lines)
        self.assertEqual((self.root / "build/kernel/agreement.txt").read_text(), f"{compared}\n")
        self.assertEqual((self.root / "session").read_text(), "build/kernel/emulated\n")
        self.assertRegex((self.root / "machine").read_text(),
                         r"^--out build/kernel/kernel --limit \d+ -- bash -c vm/module/module_test.py &&"
                         r" vm/agreement/session.sh /out\n$")

    def test_what_an_earlier_run_left_is_not_compared(self):
        old = self.root / "build/kernel/emulated/old.jsonl"
        old.parent.mkdir(parents=True)
        old.touch()
        self.assertEqual(self.run_it()[0], 0)
        self.assertFalse(old.exists())

    def test_a_machine_that_fails_is_the_end_and_shows_why(self):
        self.program("vm/agreement/session.sh", HANGING)
        for failure in (1, 120, 121, 122, 123, 124, 125):
            self.program("vm/run.sh", MACHINE % failure)
            status, lines = self.run_it("--long")
            self.assertEqual(status, failure)
            self.assertEqual(lines[-2:], ["the console", f"the machine ended with status {failure} (whole output: "
                                                         "build/kernel/kernel.log)"])

    def test_an_emulated_world_that_fails_is_told(self):
        self.program("vm/agreement/session.sh", "#!/bin/bash\necho 'it is missing'\nexit 2\n")
        self.assertEqual(self.run_it()[1][-2:], ["it is missing", "error: nothing was played on the emulated phone"])

    def test_the_comparison_decides(self):
        for failure in (1, 2):
            self.program("vm/agreement/compare.py", COMPARE % failure)
            status, lines = self.run_it("--long")
            self.assertEqual(status, failure)
            self.assertNotIn("long", lines)

    def test_so_do_the_tests_of_the_machine(self):
        self.program("vm/run_test.py", RUN_TEST.replace("True)", "False)"))
        status, lines = self.run_it("--long")
        self.assertEqual((status, lines[-1]), (1, "FAILED (failures=1)"))

    def test_long_does_more_afterwards(self):
        for failure in (0, 1):
            self.program("vm/long.sh", LONG % failure)
            status, lines = self.run_it("--long")
            self.assertEqual((status, lines[-1]), (failure, "long"))

    def test_wrong_words_are_refused(self):
        for words in (("--short",), ("--long", "--long"), ("",)):
            self.assertEqual(self.run_it(*words), (2, ["error: usage: scripts/check-kernel.sh [--long]"]))

    def test_nothing_is_left_when_it_is_ended(self):
        self.program("vm/run.sh", HANGING)
        with self.start() as process:
            for line in process.stdout:
                if line.startswith("on a real kernel"):
                    break
            while not (self.root / "pid").exists() or not (self.root / "pid").read_text():
                pass
            process.send_signal(signal.SIGTERM)
            process.communicate()
        self.assertEqual(process.returncode, 143)
        self.assertRaises(ProcessLookupError, os.kill, int((self.root / "pid").read_text()), 0)


if __name__ == "__main__":
    unittest.main()
