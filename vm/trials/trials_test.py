# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of trials.py and what it uses: its data, the copy of the project, and what it makes of outputs."""
import contextlib
import io
import os
import pathlib
import subprocess
import tempfile
import time
import unittest
from unittest import mock

import trials  # first: it knows where the others are
import copy_tree
import defects
import emulated_tests
import seeds
import worlds


class SeedsTest(unittest.TestCase):
    def test_fit_the_sources(self):
        for seed in seeds.DIFFERENCES + seeds.DEFECTS:
            text = (copy_tree.ROOT / seed.source).read_text()
            self.assertNotEqual(defects.apply(seed, text), text, seed.name)

    def test_are_of_other_names_than_those_of_the_suite(self):
        names = [seed.name for seed in seeds.DIFFERENCES + seeds.DEFECTS + defects.ALL]
        self.assertEqual(len(set(names)), len(names))
        self.assertEqual((len(seeds.DIFFERENCES), len(seeds.DEFECTS)), (4, 10))


class ArgumentsTest(unittest.TestCase):
    def told(self, *words):
        with contextlib.redirect_stdout(io.StringIO()) as output, contextlib.redirect_stderr(io.StringIO()) as errors:
            try:
                status = trials.main(words)
            except SystemExit as end:
                status = end.code
        return status, output.getvalue(), errors.getvalue()

    def test_names_are_listed_and_nothing_is_tried(self):
        names = "".join(f"{seed.name}\n" for seed in seeds.DIFFERENCES)
        self.assertEqual(self.told("differences", "--list"), (0, names, ""))
        self.assertEqual(self.told("defects", "--list", seeds.DEFECTS[3].name)[:2], (0, f"{seeds.DEFECTS[3].name}\n"))

    def test_what_is_unknown_is_refused(self):
        self.assertEqual(self.told("defects", "no such"), (2, "", "error: no such defect: no such\n"))
        for words in ([], ["others"], ["defects", "--side", "x"], ["defects", "--limit", "x"]):
            self.assertEqual(self.told(*words)[0], 2, words)


class RunTest(unittest.TestCase):
    def test_gives_status_and_output(self):
        self.assertEqual(copy_tree.run(["sh", "-c", "echo a; echo b >&2; exit 3"], "/"), (3, "a\nb\n"))

    def test_ends_what_does_not_end_with_all_that_it_has_started(self):
        with tempfile.TemporaryDirectory() as folder:
            script = f"trap '' TERM; sleep 1000 & echo $! >{folder}/child; wait; sleep 1000"
            with mock.patch.object(copy_tree, "ENDING", 0.1), self.assertRaises(subprocess.TimeoutExpired):
                copy_tree.run(["sh", "-c", script], "/", 0.5)
            child = int(pathlib.Path(folder, "child").read_text())
            while self.is_running(child):
                time.sleep(0.01)

    def is_running(self, number):
        try:
            return " Z " not in pathlib.Path(f"/proc/{number}/stat").read_text()
        except (FileNotFoundError, ProcessLookupError):
            return False


class CopyTreeTest(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.root, self.folder = pathlib.Path(temporary.name, "root"), pathlib.Path(temporary.name, "copy")
        (self.root / "a").mkdir(parents=True)
        (self.root / "a/one").write_text("1")
        (self.root / "two").write_text("2")
        subprocess.run(["git", "init", "-q", self.root], check=True)
        patch = mock.patch.object(copy_tree, "ROOT", self.root)
        patch.start()
        self.addCleanup(patch.stop)

    def files(self):
        found = (path for path in self.folder.rglob("*") if path.is_file())
        return {str(path.relative_to(self.folder)): path.read_text() for path in found}

    def test_has_what_the_project_has(self):
        copy_tree.CopyTree(self.folder)
        self.assertEqual(self.files(), {"a/one": "1", "two": "2"})

    def test_is_brought_up_to_date_and_keeps_its_build_and_what_stays_the_same(self):
        copy_tree.CopyTree(self.folder)
        before = (self.folder / "a/one").stat().st_mtime_ns
        (self.folder / "build").mkdir()
        (self.folder / "build/made").write_text("m")
        (self.folder / "a/other").write_text("o")
        (self.root / "two").write_text("22")
        copy_tree.CopyTree(self.folder)
        self.assertEqual(self.files(), {"a/one": "1", "two": "22", "build/made": "m"})
        self.assertEqual((self.folder / "a/one").stat().st_mtime_ns, before)

    def test_has_a_change_for_a_while(self):
        tree = copy_tree.CopyTree(self.folder)
        with tree.changed(defects.defect("x", "two", defects.replace("2", "3"))):
            self.assertEqual((self.folder / "two").read_text(), copy_tree.WITHOUT_WARNINGS + "3")
        self.assertEqual(self.files(), {"a/one": "1", "two": "2"})
        self.assertEqual((self.root / "two").read_text(), "2")

    def test_tells_what_a_build_says(self):
        tree = copy_tree.CopyTree(self.folder)
        with mock.patch.object(copy_tree, "run", return_value=(1, "a.cpp: wrong")):
            with self.assertRaisesRegex(defects.Useless, "a.cpp: wrong"):
                tree.build()


class OutputTest(unittest.TestCase):
    def test_of_ctest_names_the_tests_that_failed(self):
        output = ("1/2 Test #1: kernel_test.A.B ....***Failed    0.1 sec\n\nThe following tests FAILED:\n"
                  "\t  1 - kernel_test.A.B (Failed)\n\t 12 - scenario.attach (Timeout)\nErrors while running CTest\n")
        self.assertEqual(emulated_tests.failed_tests(output), ["kernel_test.A.B", "scenario.attach"])
        self.assertEqual(emulated_tests.failed_tests("100% tests passed, 0 tests failed out of 2\n"), [])

    def test_of_the_comparison_names_where_the_worlds_differ(self):
        output = ("\nunknown difference: attach: tty-rx: emulated | real\n  a | b\n"
                  "\nunknown difference: attach: tty-rx: emulated | real\n"
                  "\nunknown difference: conformance/1: hid-open: emulated | real\n"
                  "\nerror: screen: status 1 in the real world\n")
        self.assertEqual(worlds.found_in(output),
                         ["attach (tty-rx)", "conformance/1 (hid-open)", "screen: status 1 in the real world"])
        self.assertEqual(worlds.found_in("both worlds agree\n"), [])

    def test_is_short(self):
        self.assertEqual(trials.shown([]), "MISSED")
        self.assertEqual(trials.shown(["a", "b"]), "a, b")
        self.assertEqual(trials.shown(["a", "b", "c", "d", "e"]), "a, b, c and 2 more")


class WorldsTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.tree = mock.Mock(folder=self.folder, build_folder=self.folder)

    def do(self, world, *scenarios, statuses=(0, 0)):
        with mock.patch.object(copy_tree, "run", side_effect=[(status, "said") for status in statuses]) as words:
            folder = getattr(worlds.Worlds(self.folder, None, 9, scenarios), world)(self.tree)
        return folder, [call[0][0] for call in words.call_args_list]

    def test_do_all_or_some_scenarios(self):
        folder, words = self.do("emulated")
        self.assertEqual(words, [["vm/agreement/session.sh", folder]])
        folder, words = self.do("emulated", "screen", "attach", statuses=[0])
        self.assertEqual(words[0][3:], ["play", folder, "screen", "attach"])

    def test_do_the_same_in_the_machine(self):
        folder, words = self.do("kernel")
        self.assertEqual([words[0], words[1][-5:]], [[copy_tree.ROOT / "vm/linux.sh"],
                                                     ["--out", folder, "--", "vm/agreement/session.sh", "/out"]])

    def test_take_what_the_time_limit_leaves_and_nothing_of_a_machine_that_ended(self):
        self.do("kernel", statuses=[0, 123])
        for statuses in ([120], [0, 121], [0, 125]):
            with self.assertRaisesRegex(defects.Useless, "said"):
                self.do("kernel", statuses=statuses)

    def test_play_every_scenario_and_note_how_each_ended(self):
        emulator = self.folder / "bivista-emulator"
        emulator.write_text('#!/bin/sh\ncase $4 in *attach*) exit 3 ;; *probe*) echo seen ;; esac\n')
        emulator.chmod(0o755)
        environment = {**os.environ, "PATH": f"{self.folder}:{os.environ['PATH']}"}
        words = ["bash", "-c", worlds.PLAY, "play", self.folder, "attach", "probe", "screen"]
        self.assertEqual(copy_tree.run(words, self.folder, None, environment), (0, ""))
        self.assertEqual((self.folder / "probe.txt").read_text(), "seen\n")
        left = [(path.name, path.read_text()) for path in self.folder.glob("*.status")]
        self.assertEqual(left, [("attach.status", "3\n")])


class PlaceTest(unittest.TestCase):
    seed = defects.defect("x", "a.cpp", tests="attach")

    def test_is_named_first(self):
        for there in ("attach (tty-rx)", "attach: status 1 in the emulated world:"):
            self.assertEqual(trials.at_its_place(self.seed, ["screen (dtr)", there, "x (y)"]),
                             [there, "screen (dtr)", "x (y)"])

    def test_where_nothing_differs_is_not_found(self):
        self.assertEqual(trials.at_its_place(self.seed, ["screen (dtr)", "attachment (dtr)"]), [])


class GroupTest(unittest.TestCase):
    failed = (8, "The following tests FAILED:\n\t 1 - scenario.attach (Failed)\n")

    def meet(self, *runs, group="scenarios"):
        tree = copy_tree.CopyTree.__new__(copy_tree.CopyTree)
        tree.folder = tree.build_folder = pathlib.Path("/build")
        with mock.patch.object(tree, "build"), mock.patch.object(copy_tree, "run", side_effect=runs) as words:
            found = emulated_tests.meet(tree, group, 9)
        return found, [call[0][0][len(emulated_tests.CTEST):] for call in words.call_args_list]

    def test_gives_the_tests_that_fail(self):
        self.assertEqual(self.meet(self.failed)[0], ["scenario.attach"])
        self.assertEqual(self.meet((0, ""))[0], [])

    def test_is_of_programs_or_rooms_or_all_others(self):
        folder = ["--test-dir", pathlib.Path("/build")]
        self.assertEqual(self.meet((0, ""))[1], [["-R", emulated_tests.WITH_PROGRAMS, *folder]])
        self.assertEqual(self.meet((0, ""), group="tests")[1], [["-E", emulated_tests.WITH_PROGRAMS, *folder]])
        rooms = [["--test-dir", pathlib.Path("/build", room)] for room in emulated_tests.ROOMS]
        self.assertEqual(self.meet((0, ""), (0, ""), (0, ""), group="rooms")[1], rooms)
        self.assertEqual(self.meet((0, ""), self.failed, group="rooms")[1], rooms[:2])

    def test_that_does_not_end_has_found_it(self):
        self.assertEqual(self.meet(subprocess.TimeoutExpired("ctest", 9))[0], ["no end after 9 s"])

    def test_that_cannot_run_is_of_no_use(self):
        with self.assertRaisesRegex(defects.Useless, "ctest ended with 1\nNo tests were found"):
            self.meet((1, "No tests were found"))


class DefectsTest(unittest.TestCase):
    """With sides that find what they are told to find."""
    one, two = (defects.defect(name, "a.cpp") for name in ("one", "two"))

    def missed(self, **sides):
        tree = mock.MagicMock()
        meetings = {name: mock.Mock(side_effect=results) for name, results in sides.items()}
        with contextlib.redirect_stdout(io.StringIO()) as output:
            missed = trials.try_defects(tree, meetings, [self.one, self.two])
        return missed, output.getvalue()

    def test_are_missed_when_no_side_finds_them(self):
        missed, output = self.missed(scenarios=[[], ["scenario.a"], []], kernel=[[], [], []])
        self.assertEqual(missed, ["two"])
        self.assertIn("scenarios: scenario.a\n", output)
        self.assertEqual(self.missed(scenarios=[[], [], []], kernel=[[], ["a (dtr)"], ["a (dtr)"]])[0], [])

    def test_meet_the_other_tests_only_when_the_scenarios_have_not_found_them(self):
        self.assertEqual(self.missed(scenarios=[[], ["scenario.a"], []], tests=[[], ["x_test.A"]])[0], [])

    def test_are_of_no_use_when_the_unchanged_service_is_found(self):
        with self.assertRaisesRegex(defects.Useless, "is found by the kernel: attach"):
            self.missed(kernel=[["attach (dtr)"]])


if __name__ == "__main__":
    unittest.main()
