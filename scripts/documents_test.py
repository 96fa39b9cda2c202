# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of documents.py: what becomes of small documents. None of them has a phone."""
import pathlib
import shlex
import unittest

import documents


def commands(text):
    return [(mark, [tuple(command) for command in found]) for mark, found in documents.blocks(text)]


def findings(*lines, mark="sh", limit=60):
    """Of a document with these lines in a block, of which the first is its second."""
    [(mark, found)] = documents.blocks("\n".join([f"```{mark}", *lines, "```"]))
    return documents.findings("x.md", mark, found, limit)


def to_run(text):
    return documents.Command(1, text).to_run()


class DocumentsTest(unittest.TestCase):
    def test_each_line_of_a_block_is_a_command(self):
        self.assertEqual(commands("# X\n```sh\na 'b  c'   # why\n\n# exits 5\nfor i in 1; do\n  d\ndone\ne \\\n  f # exits 3: no\n```\n"),
                         [("sh", [(3, "a 'b  c'", 0), (6, "for i in 1; do\n  d\ndone", 0), (9, "e \\\n  f", 3)])])
        self.assertEqual(commands("- why\n\n  ```sh phone\n  a\n  ```\n```json\n{}\n```\n"), [("sh phone", [(4, "  a", 0)])])

    def test_a_here_document_is_part_of_its_command(self):
        self.assertEqual(commands("```sh\na <<'END' # exits 2\nb\n'\nEND\nc\n```\n"),
                         [("sh", [(2, "a <<'END'\nb\n'\nEND", 2), (6, "c", 0)])])

    def test_inline_code_with_a_program_and_an_argument_is_one(self):
        self.assertEqual(commands("`bivistactl status`, `A=b ./test.sh x`\n`bivistactl status`, `bivistactl`, `AT%SWV x`"),
                         [("sh", [(1, "A=b ./test.sh x", 0)]), ("sh", [(1, "bivistactl status", 0)])])

    def test_what_fails_is_reported_with_its_output(self):
        self.assertEqual(findings("cd docs", "ls *.md", "test -f integration.md"), [])
        self.assertEqual(findings("true", "echo a; echo b >&2; (exit 2)", "(exit 3) # exits 3", "true # exits 3"), [
            "x.md:3: echo a; echo b >&2; (exit 2): exit 2", "    a", "    b", "x.md:5: true: exit 0"])
        self.assertEqual(findings("exit 0", "false"), ["x.md:2: the shell has left before the end of the block"])
        self.assertEqual(findings("sleep 1000", limit=0.2), ["x.md:2: still running after 0.2 s"])
        self.assertEqual(findings("a 'b", mark="sh phone"), ["x.md:2: a 'b: no whole command"])

    def test_options_and_names_that_have_gone_are_reported(self):
        self.assertEqual(findings("./test.sh --only style", "bench/run.sh uevent", "vts/mutate.py", "./run.sh --tour"), [])
        for text in ("./test.sh --onyl style", "./test.sh --only stile", "bench/run.sh uevnet", "vts/mutate.py build/release x",
                     "./run.sh --tuor", "./run.sh --color=blue"):
            self.assertEqual(findings(text)[0], f"x.md:2: {text}: exit 2")

    def test_what_ends_by_ctrl_c_must_print_and_may_end_so(self):
        for text, failed in (("sh -c 'echo up; sleep 1000'", False), ("true", True), ("sh -c 'echo no; exit 2'", True),
                             ("bash -c 'trap \"exit 5\" INT; echo up; while :; do sleep 0.05; done'", True)):
            self.assertEqual(bool(findings(f"interrupted {shlex.quote(text)}")), failed, text)

    def test_what_is_run_instead(self):
        for text, instead in (
                ("bivistactl status", "bivistactl status"),
                ("ctest --preset release -R x", "ctest --preset release -R x --no-tests=error"),
                ("SOAK_CYCLES=1000 ctest --preset asan -R x", "ctest --preset asan -R x -N | grep 'Total Tests: [1-9]'"),
                ("cmake --preset asan && cmake --build --preset asan", "cmake --preset asan && cmake --build --preset asan -- -n"),
                ("bivistactl watch lpwg", "interrupted 'bivistactl watch lpwg'"),
                ("bivista-emulator run -- ls", "bivista-emulator run -- ls")):
            self.assertEqual(to_run(text), instead)

    def test_each_replacement_is_needed_by_a_document(self):
        texts = {command.text for path in documents.git("ls-files", "*.md").split()
                 for _, found in documents.blocks(pathlib.Path(documents.ROOT, path).read_text(encoding="utf-8"))
                 for command in found}
        for pattern, _ in documents.INSTEAD:
            self.assertTrue(any(map(pattern.fullmatch, texts)), pattern)
