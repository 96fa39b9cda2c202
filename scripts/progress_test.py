"""Tests of progress.sh: what is seen on a terminal, and elsewhere."""
import fcntl
import os
import pathlib
import pty
import re
import select
import struct
import subprocess
import tempfile
import termios
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent
SECONDS = re.compile(r"\d+ s\b")


class ProgressTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="bivista-progress-")
        self.addCleanup(folder.cleanup)
        self.log = f"{folder.name}/log"

    def script(self, command, before=""):
        return ("set -euo pipefail; source scripts/common.sh\n"
                f"f() {{ {command}; }}; {before}\nwith_progress 'building (x)' {self.log} f")

    def piped(self, command, before="", **environment):
        ended = subprocess.run(["bash", "-c", self.script(command, before)], cwd=ROOT, check=False, text=True,
                               env={**os.environ, **environment},
                               stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        return ended.returncode, SECONDS.sub("N s", ended.stdout)

    def seen(self, command, before="", columns=80, keys=b"", **environment):
        """On a terminal; keys are typed once something is printed, and again where nothing comes of them: a
        shell that is about to start a program may lose a signal. Gives the exit status and the output."""
        process, terminal = pty.fork()
        if process == 0:
            os.chdir(ROOT)
            fcntl.ioctl(1, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
            os.execvpe("env", ["env", "--default-signal", "bash", "-c", self.script(command, before)],
                       {**os.environ, "TERM": "xterm", **environment})
        told = b""
        while True:
            if not select.select([terminal], [], [], 0.2)[0]:
                if told and keys:
                    os.write(terminal, keys)
                continue
            try:
                told += os.read(terminal, 4096)
            except OSError:
                break
        os.close(terminal)
        status = os.waitstatus_to_exitcode(os.waitpid(process, 0)[1])
        return status, SECONDS.sub("N s", told.decode().replace("\r\n", "\n"))

    def lines(self, *arguments, **more):
        """What stands on the terminal's line, one after the other."""
        return re.split(r"\r|\x1b\[K", self.seen(*arguments, **more)[1])

    def logged(self):
        with open(self.log, encoding="utf-8") as file:
            return file.read()

    def test_in_a_log_there_are_two_lines(self):
        self.assertEqual(self.piped("echo '[1/2] a'; echo b >&2; printf c"), (0, "building (x)\nbuilding (x): N s\n"))
        self.assertEqual(self.logged(), "[1/2] a\nb\nc")

    def test_a_terminal_that_rewrites_nothing_is_a_log(self):
        self.assertEqual(self.seen("echo '[1/2] a'", TERM="dumb"), (0, "building (x)\nbuilding (x): N s\n"))

    def test_on_a_terminal_there_is_one_line(self):
        self.assertEqual(self.seen("echo configuring; echo more; echo '[1/2] a'; echo '[2/2] b'"),
                         (0, "\rbuilding (x)\x1b[K\rbuilding (x) 1/2\x1b[K\rbuilding (x) 2/2\x1b[K"
                             "\r\x1b[Kbuilding (x): N s\n"))
        self.assertEqual(self.logged(), "configuring\nmore\n[1/2] a\n[2/2] b\n")

    def test_tests_are_counted_and_those_that_fail(self):
        self.assertIn("building (x) 2/2915, 1 failed", self.lines(
            "echo '       Start    7: a.B'; echo '   1/2915 Test    #7: a.B ....   Passed    0.03 sec';"
            "echo '   2/2915 Test    #3: a.C ....***Failed    0.03 sec'"))

    def test_packages_are_counted(self):
        self.assertIn("building (x) 3/4", self.lines(
            "echo '0 upgraded, 2 newly installed, 0 to remove'; echo 'Unpacking a (1) ...';"
            "echo 'Unpacking b (1) ...'; echo 'Setting up a (1) ...'"))

    def test_it_tells_how_long_it_will_take(self):
        self.assertIn("building (x) 10/218, about 21 min left",
                      self.lines("echo '[1/218] a'; sleep 0.2; echo '[10/218] a'",
                                 "eval \"$(declare -f show_progress | sed 's/spent=.*/spent=60/')\""))

    def test_a_narrow_terminal_has_one_line_too(self):
        self.assertIn("\rbuilding\x1b[K\r\x1b[K", self.seen("echo '[1/2] a'", columns=9)[1])

    def test_a_failure_keeps_its_status_and_output(self):
        self.assertEqual(self.piped("echo '[1/2] a'; return 3"), (3, "building (x)\nbuilding (x): failed after N s\n"))
        status, text = self.seen("echo '[1/2] a'; return 3")
        self.assertEqual(status, 3)
        self.assertTrue(text.endswith("\r\x1b[Kbuilding (x): failed after N s\n"), text)
        self.assertEqual(self.logged(), "[1/2] a\n")

    def test_ctrl_c_ends_it_and_its_line(self):
        status, text = self.seen("echo '[1/2] a'; sleep 1000", keys=b"\x03", before="trap 'exit 130' INT")
        self.assertEqual(status, 130)
        self.assertTrue(text.startswith("\rbuilding (x) 1/2\x1b[K^C\n"), text)


if __name__ == "__main__":
    unittest.main()
