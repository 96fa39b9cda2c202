"""Tests of each.py."""
import pathlib
import subprocess
import unittest

EACH = pathlib.Path(__file__).resolve().parent / "each.py"


def run(*words):
    ended = subprocess.run([EACH, *words], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                           check=False)
    return ended.returncode, ended.stdout


class EachTest(unittest.TestCase):
    def test_what_succeeds_says_nothing(self):
        status, text = run("echo", "-e", "--", "a", "b", "c")
        self.assertEqual(status, 0)
        self.assertEqual([line.split()[0] for line in text.splitlines()], ["[1/3]", "[2/3]", "[3/3]"])
        self.assertEqual(sorted(line.split()[1] for line in text.splitlines()), ["a", "b", "c"])

    def test_what_fails_is_told_with_its_output(self):
        self.assertEqual(run("sh", "-c", 'echo "out $0"; echo err >&2; exit 3', "--", "a"),
                         (1, "[1/1] a\nout a\nerr\na: exit 3\n"))

    def test_the_others_are_run_all_the_same(self):
        status, text = run("test", "b", "=", "--", "a", "b", "c")
        self.assertEqual(status, 1)
        self.assertEqual(sorted(line for line in text.splitlines() if line.endswith("exit 1")),
                         ["a: exit 1", "c: exit 1"])

    def test_a_command_without_files_is_refused(self):
        for words in ((), ("true",), ("true", "--"), ("--", "a")):
            self.assertEqual(run(*words), (2, "usage: scripts/each.py COMMAND... -- FILE...\n"))


if __name__ == "__main__":
    unittest.main()
