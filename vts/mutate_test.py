"""Tests of mutate.py: what it does to texts and command lines, and that each defect fits its source."""
import contextlib
import io
import pathlib
import tempfile
import unittest

import mutate


class ChangeTest(unittest.TestCase):
    def test_replaces_at_one_place(self):
        self.assertEqual(mutate.replace("b", "x")("abc"), "axc")

    def test_does_not_replace_what_is_absent_or_ambiguous(self):
        for text in ("ac", "abcb"):
            with self.assertRaises(mutate.Useless):
                mutate.replace("b", "x")(text)

    def test_swaps_two_parts(self):
        self.assertEqual(mutate.swap("case 1:", "case 22:")("case 1: a case 22: b"),
                         "case 22: a case 1: b")

    def test_does_not_swap_what_is_absent_or_ambiguous(self):
        for text in ("case 1:", "case 1: case 1: case 2:"):
            with self.assertRaises(mutate.Useless):
                mutate.swap("case 1:", "case 2:")(text)


class DefectTest(unittest.TestCase):
    def test_there_are_at_least_ten_with_names_of_their_own(self):
        self.assertGreaterEqual(len(mutate.DEFECTS), 10)
        self.assertEqual(len({defect.name for defect in mutate.DEFECTS}), len(mutate.DEFECTS))

    def test_each_changes_its_source(self):
        for defect in mutate.DEFECTS:
            if defect.source == mutate.INTERFACE:
                continue  # made by the build
            text = (mutate.ROOT / defect.source).read_text()
            self.assertNotEqual(mutate.apply(defect, text), text, defect.name)

    def test_each_meets_a_phone_that_there_is(self):
        self.assertEqual({defect.phone for defect in mutate.DEFECTS}, set(mutate.PHONES))

    def test_unknown_ones_are_refused(self):
        with self.assertRaises(mutate.Useless):
            mutate.chosen(["no such defect"])


class ListTest(unittest.TestCase):
    def listed(self, *words):
        with contextlib.redirect_stdout(io.StringIO()) as output:
            with contextlib.redirect_stderr(io.StringIO()):
                status = mutate.main([*words, "--list"])
        return status, output.getvalue().splitlines()

    def test_names_the_defects_and_seeds_none(self):
        self.assertEqual(self.listed(), (0, [defect.name for defect in mutate.DEFECTS]))
        self.assertEqual(self.listed("/nowhere", "presence inverted"), (0, ["presence inverted"]))

    def test_an_unknown_one_is_refused(self):
        self.assertEqual(self.listed("build/release", "no such defect"), (2, []))


class BuildFolderTest(unittest.TestCase):
    def test_that_was_not_built_is_refused(self):
        with tempfile.TemporaryDirectory() as folder, self.assertRaises(mutate.Useless):
            mutate.check_programs(pathlib.Path(folder))


class CommandTest(unittest.TestCase):
    def test_a_link_loses_what_stands_around_it(self):
        self.assertEqual(mutate.split_command(": && clang++ a.o -o bin/a && :"),
                         ["clang++", "a.o", "-o", "bin/a"])

    def test_finds_the_command_of_a_source(self):
        build = pathlib.Path("/build")
        link = ["clang++", "a.o", "-o", "bin/a"]
        absolute = ["clang++", "-o", "a.o", "-c", "/source/a.cpp"]
        relative = ["clang++", "-o", "b.o", "-c", "generated/b.cpp"]
        commands = [absolute, relative, link]
        find = mutate.compile_command
        self.assertIs(find(build, commands, pathlib.Path("/source/a.cpp")), absolute)
        self.assertIs(find(build, commands, pathlib.Path("/build/generated/b.cpp")), relative)
        with self.assertRaises(mutate.Useless):
            find(build, commands, pathlib.Path("/source/c.cpp"))

    def test_gives_a_flag_another_value(self):
        words = ["clang++", "-o", "a.o", "-c", "a.cpp"]
        self.assertEqual(mutate.with_value(words, "-o", pathlib.Path("/b.o")),
                         ["clang++", "-o", "/b.o", "-c", "a.cpp"])
        self.assertEqual(mutate.with_value(words, "-MT", "b.o"), words)
        self.assertEqual(words[2], "a.o")


class OutputTest(unittest.TestCase):
    def test_names_the_first_test_that_failed(self):
        output = ('[       OK ] PerInstance/PenTest.A/0_default (1 ms)\n'
                  '[  FAILED  ] PerInstance/PenTest.B/0_default, where GetParam() = "default" (3 ms)\n'
                  '[  FAILED  ] 1 test, listed below:\n'
                  '[  FAILED  ] PerInstance/PenTest.B/0_default, where GetParam() = "default"\n')
        self.assertEqual(mutate.first_failure(output), "PenTest.B")
        self.assertEqual(mutate.first_failure("[  FAILED  ] Registry.HoldsIt (0 ms)\n"),
                         "Registry.HoldsIt")

    def test_names_none_when_none_failed(self):
        self.assertIsNone(mutate.first_failure("[  PASSED  ] 9 tests.\n"))


if __name__ == "__main__":
    unittest.main()
