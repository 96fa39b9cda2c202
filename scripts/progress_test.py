# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of progress.sh: what is seen on a terminal, and elsewhere."""
import os
import pathlib
import re
import shlex
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent


class ProgressTest(unittest.TestCase):
    def setUp(self):
        self.log = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory(prefix="bivista-progress-")), "log")

    def seen(self, command, before="", terminal=True, **environment):
        """Returns the exit status and what is seen, on a terminal or elsewhere."""
        words = ["bash", "-c", "set -euo pipefail; source scripts/common.sh\n"
                 f"f() {{ {command}; }}; {before}\nwith_progress 'building (x)' {self.log} f"]
        if terminal:
            words = ["script", "-qec", shlex.join(words), "/dev/null"]
        ended = subprocess.run(["env", "--default-signal", *words], cwd=ROOT, check=False, stdin=subprocess.DEVNULL,
                               env={**os.environ, "TERM": "xterm", **environment}, stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT)
        return ended.returncode, re.sub(r"\d+ s\b", "N s", ended.stdout.decode().replace("\r\n", "\n"))

    def test_in_a_log_there_are_two_lines(self):
        two = (0, "building (x)\nbuilding (x): N s\n")
        self.assertEqual(self.seen("echo '[1/2] a'; echo b >&2; printf c", terminal=False), two)
        self.assertEqual(self.log.read_text(), "[1/2] a\nb\nc")
        self.assertEqual(self.seen("echo '[1/2] a'", TERM="dumb"), two)

    def test_on_a_terminal_there_is_one_line(self):
        self.assertEqual(self.seen("echo configuring; echo more; echo '[1/2] a'; echo '[2/2] b'"), (
            0, "".join(f"\r\x1b[?7lbuilding (x){shown}\x1b[K\x1b[?7h" for shown in ("", " 1/2", " 2/2"))
            + "\r\x1b[Kbuilding (x): N s\n"))
        self.assertEqual(self.log.read_text(), "configuring\nmore\n[1/2] a\n[2/2] b\n")

    def test_builds_tests_and_packages_are_counted(self):
        for shown, lines, before in (
                (" 2/2915, 1 failed", ("   1/2915 Test    #7: a.B ....   Passed", "   2/2915 Test    #3: a.C ....***Failed"), ""),
                (" 3/4", ("0 upgraded, 2 newly installed", "Unpacking a", "Unpacking b", "Setting up a"), ""),
                (" 10/218, about 21 min left", ("[1/218] a", "[10/218] a"),
                 "eval \"$(declare -f show_progress | sed 's/spent=.*/spent=60/')\"")):
            self.assertIn(f"\x1b[?7lbuilding (x){shown}\x1b[K", self.seen(f"printf '%s\\n' {shlex.join(lines)}", before)[1])

    def test_a_failure_keeps_its_status_and_output(self):
        self.assertEqual(self.seen("echo '[1/2] a'; return 3", terminal=False),
                         (3, "building (x)\nbuilding (x): failed after N s\n"))
        status, text = self.seen("echo '[1/2] a'; return 3")
        self.assertEqual(status, 3)
        self.assertTrue(text.endswith("\r\x1b[Kbuilding (x): failed after N s\n"), text)
        self.assertEqual(self.log.read_text(), "[1/2] a\n")

    def test_ctrl_c_ends_it_and_its_line(self):
        status, text = self.seen(f"echo '[1/2] a'; until [ -s {self.log} ]; do :; done; kill -INT 0; sleep 1000",
                                 before="trap 'exit 130' INT")
        self.assertEqual(status, 130)
        self.assertTrue(text.endswith("\n"), text)
        self.assertNotIn("building (x):", text)
