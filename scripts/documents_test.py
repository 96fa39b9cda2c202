"""Tests of documents.py: what becomes of small documents."""
import contextlib
import io
import unittest

import document_text
import documents


def run(*lines, mark="sh"):
    """What is told of a document with these lines in a block, of which the first is its second."""
    text = "\n".join([f"```{mark}", *lines, "```"])
    blocks = document_text.blocks("docs/x.md", text)
    return [line for block in blocks
            for line in documents.run_block(block, "/nowhere", documents.ROOT)]


class DocumentTest(unittest.TestCase):
    def test_what_it_says_is_so(self):
        self.assertEqual(run("./test.sh --only style", "bench/run.sh uevent", "vts/mutate.py",
                             "cd docs", "ls *.md"), [])

    def test_an_option_that_has_gone_is_told(self):
        self.assertEqual(run("# why", "./test.sh --onyl style   # what"),
                         ["docs/x.md:3: ./test.sh --onyl style: exit 2",
                          "    error: unknown argument '--onyl'; see ./test.sh --help"])

    def test_a_step_that_has_gone_is_told(self):
        self.assertEqual(run("./test.sh --only stile")[0], "docs/x.md:2: ./test.sh --only stile: exit 2")

    def test_a_name_that_has_gone_is_told(self):
        self.assertEqual(run("bench/run.sh uevnet")[0], "docs/x.md:2: bench/run.sh uevnet: exit 2")
        self.assertEqual(run("vts/mutate.py build/release x"),
                         ["docs/x.md:2: vts/mutate.py build/release x: exit 2",
                          "    error: no such defect: x"])

    def test_a_file_that_is_missing_is_told(self):
        self.assertEqual(run("cat docs/nothing.md"),
                         ["docs/x.md:2: cat docs/nothing.md: exit 1",
                          "    cat: docs/nothing.md: No such file or directory"])

    def test_a_place_has_its_own_programs(self):
        self.assertEqual(run("mmm vts", mark="sh phone"), [])
        self.assertEqual(run("mmm vts")[0], "docs/x.md:2: mmm vts: exit 127")

    def test_unknown_arguments_are_refused(self):
        with contextlib.redirect_stderr(io.StringIO()) as told:
            self.assertEqual(documents.main(["--lits"]), 2)
        self.assertEqual(told.getvalue(),
                         "usage: scripts/documents.py [--list | --bare] [DOCUMENT...]\n")


if __name__ == "__main__":
    unittest.main()
