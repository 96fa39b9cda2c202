"""Tests of document_shell.py."""
import os
import signal
import tempfile
import unittest

import document_shell


def steps(*commands):
    return [document_shell.Step(f"x.md:{number}", command, command)
            for number, command in enumerate(commands, 1)]


def run(*commands, shell="bash", limit=60):
    with tempfile.TemporaryDirectory() as folder:
        return document_shell.run(shell, steps(*commands), folder, dict(os.environ), limit)


class ShellTest(unittest.TestCase):
    def test_what_succeeds_is_not_told(self):
        self.assertEqual(run("echo a", "true"), [])

    def test_what_fails_is_told_with_its_output(self):
        self.assertEqual(run("true", "echo a; echo b >&2; (exit 2)"),
                         ["x.md:2: echo a; echo b >&2; (exit 2): exit 2", "    a", "    b"])

    def test_the_first_half_of_a_list_counts(self):
        self.assertEqual(run("false && true"), ["x.md:1: false && true: exit 1"])

    def test_all_that_fail_are_told(self):
        self.assertEqual(run("false", "(exit 3)"),
                         ["x.md:1: false: exit 1", "x.md:2: (exit 3): exit 3"])

    def test_an_exit_status_may_be_right(self):
        right = document_shell.Step("x.md:1", "(exit 3)", "(exit 3)", frozenset({3}))
        wrong = document_shell.Step("x.md:2", "true", "true", frozenset({3}))
        self.assertEqual(document_shell.run("bash", [right, wrong], "/", dict(os.environ)),
                         ["x.md:2: true: exit 0"])

    def test_what_is_told_is_the_command_of_the_document(self):
        step = document_shell.Step("x.md:1", "it's so", "false")
        self.assertEqual(document_shell.run("bash", [step], "/", dict(os.environ)),
                         ["x.md:1: it's so: exit 1"])

    def test_a_block_has_one_shell(self):
        self.assertEqual(run("mkdir a", "cd a", "x=3", "touch $x", "test -f ../a/3"), [])

    def test_a_program_that_is_not_there_is_told(self):
        told = run("bivistactll status")
        self.assertEqual(told[0], "x.md:1: bivistactll status: exit 127")

    def test_nobody_answers_questions(self):
        self.assertEqual(run("! read -r answer"), [])

    def test_what_runs_in_the_background_ends_with_the_block(self):
        self.assertEqual(run("sleep 1000 &", "true"), [])

    def test_what_runs_in_the_background_must_live_until_then(self):
        self.assertEqual(run("(exit 4) &", "while kill -0 $! 2>/dev/null; do sleep 0.01; done"),
                         ["x.md:1: (exit 4) &: has ended by itself"])

    def test_leaving_the_shell_leaves_commands_out(self):
        self.assertEqual(run("exit 0", "false"),
                         ["x.md:1: the shell has left before the end of the block"])

    def test_what_hangs_is_ended(self):
        self.assertEqual(run("sleep 1000", limit=0.2), ["x.md:1: still running after 0.2 s"])

    def test_signals_have_their_usual_meaning(self):
        for name in ("INT", "TERM", "PIPE"):
            number = signal.Signals[f"SIG{name}"]
            before = signal.signal(number, signal.SIG_IGN)
            try:
                self.assertEqual(run(f"! sh -c 'kill -{name} $$'"), [])
            finally:
                signal.signal(number, before)

    def test_another_shell(self):
        self.assertEqual(run("test -n $ZSH_VERSION", "false", shell="zsh"), ["x.md:2: false: exit 1"])


if __name__ == "__main__":
    unittest.main()
