"""Tests of document_text.py."""
import unittest

import document_text


def blocks(text):
    return list(document_text.blocks("docs/x.md", text))


def texts(text):
    """The place and the commands, with their lines, of each block."""
    return [(block.place, [(command.line, command.text) for command in block.commands])
            for block in blocks(text)]


class BlockTest(unittest.TestCase):
    def test_each_line_of_a_block_is_a_command(self):
        self.assertEqual(texts("# X\n\n```sh\na b\n\n# why\nc d\n```\n"),
                         [("host", [(4, "a b"), (7, "c d")])])

    def test_a_block_tells_its_place(self):
        self.assertEqual(texts("```sh phone\nadb root\n```\n```sh package\nsudo x\n```\n"),
                         [("phone", [(2, "adb root")]), ("package", [(5, "sudo x")])])

    def test_a_place_that_there_is_not_is_refused(self):
        with self.assertRaisesRegex(document_text.Unreadable, r"^docs/x\.md:2: no place 'moon'"):
            blocks("\n```sh moon\na\n```\n")

    def test_a_shell_of_its_own(self):
        self.assertEqual([block.shell for block in blocks("```sh\na\n```\n```zsh\nb\n```\n")],
                         ["bash", "zsh"])

    def test_other_blocks_hold_none(self):
        self.assertEqual(texts("```json\n{}\n```\n```\na picture\n```\n"), [])

    def test_a_block_in_a_list_is_indented(self):
        self.assertEqual(texts("- why\n\n  ```sh\n  a b\n  ```\n"), [("host", [(4, "a b")])])

    def test_a_block_without_an_end_is_refused(self):
        with self.assertRaisesRegex(document_text.Unreadable, r"^docs/x\.md:2: a block without an end"):
            blocks("\n```sh\na\n")

    def test_commands_where_nothing_marks_them_are_refused(self):
        for text in ("\n```\nadb root\n```\n", "\n\n    bivistactl status   # x\n"):
            with self.assertRaisesRegex(document_text.Unreadable, r"^docs/x\.md:3: a command outside"):
                blocks(text)

    def test_pictures_are_no_commands(self):
        self.assertEqual(texts("```\nbivistactl      the service\n```\n"), [])


class CommandTest(unittest.TestCase):
    def test_goes_on_behind_a_backslash(self):
        self.assertEqual(texts("```sh\na \\\n  b\nc\n```\n"), [("host", [(2, "a \\\n  b"), (4, "c")])])

    def test_goes_on_until_it_is_whole(self):
        self.assertEqual(texts("```sh\nfor i in 1 2; do\n  a\ndone\n```\n"),
                         [("host", [(2, "for i in 1 2; do\n  a\ndone")])])

    def test_that_is_never_whole_is_refused(self):
        with self.assertRaisesRegex(document_text.Unreadable, r"^docs/x\.md:2: no whole command: a 'b"):
            blocks("```sh\na 'b\n```\n")

    def test_a_comment_is_apart(self):
        self.assertEqual(document_text.split_comment("a 'x # y' b#c  # d # e"),
                         ("a 'x # y' b#c", "d # e"))

    def statuses(self, comment):
        return document_text.Command(1, "a", comment).statuses()

    def test_a_comment_tells_the_exit_status(self):
        self.assertEqual(self.statuses(""), {0})
        self.assertEqual(self.statuses("what it is for"), {0})
        self.assertEqual(self.statuses("exits 3: no service"), {3})
        self.assertEqual(self.statuses("nothing"), {1})


class InlineTest(unittest.TestCase):
    def test_a_program_and_an_argument_are_a_command(self):
        self.assertEqual(texts("Then `bivistactl status`, and\n`A=b ./test.sh --tsan`.\n"),
                         [("host", [(1, "bivistactl status")]), ("host", [(2, "A=b ./test.sh --tsan")])])

    def test_a_built_program_is_known_by_its_folder(self):
        self.assertEqual(texts("`build/release/bin/x y`\n"), [("host", [(1, "build/release/bin/x y")])])

    def test_it_is_typed_where_its_program_is(self):
        self.assertEqual([place for place, _ in texts("`adb root` `sudo apt purge x` `ls /dev`\n")],
                         ["phone", "package", "host"])

    def test_names_and_other_texts_are_none(self):
        self.assertEqual(texts("`bivistactl`, `AT%SWV x`, `it's`, `ctl show`\n"), [])


if __name__ == "__main__":
    unittest.main()
