# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of mutate.py: what it makes of its arguments, of command lines and of the suite's output."""
import contextlib
import io
import pathlib
import subprocess
import tempfile
import unittest
from unittest import mock

import defects
import mutate


class ChoiceTest(unittest.TestCase):
    def test_is_of_all_defects_without_names(self):
        self.assertEqual(mutate.chosen([]), defects.ALL)
        self.assertEqual(mutate.chosen([], defects.HIDDEN), defects.HIDDEN)

    def test_of_an_unknown_one_is_refused(self):
        with self.assertRaises(mutate.Useless):
            mutate.chosen(["no such defect"])


class JudgementTest(unittest.TestCase):
    seeded = defects.DEFECTS[0]
    hidden = defects.HIDDEN[0]

    def test_a_defect_must_be_found(self):
        self.assertEqual(mutate.judge(self.seeded, True, "PenTest.A"), (True, "PenTest.A"))
        self.assertEqual(mutate.judge(self.seeded, False, "exit status 0"), (False, "MISSED: exit status 0"))

    def test_a_hidden_one_must_pass(self):
        self.assertEqual(mutate.judge(self.hidden, False, "exit status 0"), (True, "hidden, see below"))
        self.assertEqual(mutate.judge(self.hidden, True, "PenTest.A"), (False, "NOT HIDDEN: PenTest.A"))
        self.assertEqual(mutate.judge(self.hidden, False, "the suite hung"),
                         (False, "NOT HIDDEN: the suite hung"))


class FilterTest(unittest.TestCase):
    def test_names_suites_of_any_instance(self):
        self.assertEqual(mutate.filter_of("PenTest:TouchTest"), ["--gtest_filter=*/PenTest.*:*/TouchTest.*"])

    def test_leaves_the_phone_its_own(self):
        self.assertEqual(mutate.filter_of(""), [])


class ListTest(unittest.TestCase):
    def listed(self, *words):
        with contextlib.redirect_stdout(io.StringIO()) as output:
            with contextlib.redirect_stderr(io.StringIO()):
                status = mutate.main([*words, "--list"])
        return status, output.getvalue().splitlines()

    def test_names_the_defects_and_seeds_none(self):
        status, lines = self.listed()
        names = [defect.name for defect in defects.DEFECTS]
        self.assertEqual((status, lines[:len(names)]), (0, names))
        self.assertEqual(self.listed("/nowhere", "presence inverted"), (0, ["presence inverted"]))

    def test_tells_of_each_hidden_one_why(self):
        hidden = defects.HIDDEN[0]
        _, lines = self.listed("/nowhere", hidden.name)
        self.assertEqual(lines[-1], f"  {hidden.name}: {hidden.reason}")

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

    def test_of_a_suite_that_hung_tells_where(self):
        output = (b"[       OK ] PerInstance/PenTest.A/0_default (1 ms)\n"
                  b"[ RUN      ] PerInstance/PenTest.B/0_default\nan answer: \xff\n")
        self.assertEqual(mutate.hung_after(output),
                         "the suite hung after '[ RUN      ] PerInstance/PenTest.B/0_default'")
        self.assertEqual(mutate.hung_after(b"service found\n"),
                         "the suite hung before its first test")


class MeetingTest(unittest.TestCase):
    def test_with_a_suite_that_hangs_tells_where(self):
        hang = subprocess.TimeoutExpired("suite", 300, output=b"[ RUN      ] PerInstance/PenTest.A/0_default\n")
        with mock.patch.object(mutate, "build_service"), \
             mock.patch.object(mutate, "run_suite", side_effect=hang):
            self.assertEqual(mutate.meet(None, None, None, "cover", ""),
                             (False, "the suite hung after '[ RUN      ] PerInstance/PenTest.A/0_default'"))


if __name__ == "__main__":
    unittest.main()
