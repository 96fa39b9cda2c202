"""Tests of ./test.sh: which steps it runs, and what its last lines say of them. The steps are played."""
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent
QUICK = ["style", "release", "tour"]
ALL = ["style", "tidy", "g++", "phone", "release", "package", "mutation", "tour", "asan", "tsan", "documents"]
STEP = """#!/bin/bash
step=$(basename "$0" .sh); step=${step#check-}
echo "running $step"
[[ " $FAILING " != *" $step "* ]]
"""
CTEST = """#!/bin/bash
case " $FAILING " in
    *" $2 "*) printf '%s\\n' '1/3 Test #1: a.B ...***Failed  0.1 sec' 'what it said' \\
        '33% tests passed, 2 tests failed out of 3'; exit 8 ;;
    *" none "*) echo 'No tests were found!!!'; exit 8 ;;
    *) echo '100% tests passed, 0 tests failed out of 3' ;;
esac
"""
CMAKE = """#!/bin/bash
[[ " $FAILING " != *" building "* ]] || { echo "error: no ${*: -1}"; false; }
"""


class TestShTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="bivista-test-sh-")
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        for name in ("scripts", "vts", "tools", "build/release"):
            (self.root / name).mkdir(parents=True)
        for name in ("test.sh", "scripts/common.sh", "scripts/progress.sh", "scripts/packages.txt"):
            shutil.copy(ROOT / name, self.root / name)
        for name in ("style", "tidy", "gcc", "phone", "package", "tour", "documents"):
            self.program(f"scripts/check-{name}.sh", STEP)
        self.program("vts/mutate.py", STEP)
        self.program("tools/ctest", CTEST)
        self.program("tools/cmake", CMAKE)
        for name in ("clang++", "ninja", "hidl-gen", "capnp", "unshare", "dpkg-query"):
            self.program(f"tools/{name}", "#!/bin/sh\n")
        self.program("tools/apt-get", f"#!/bin/sh\necho $* >>{self.root}/installed\n")
        self.program("tools/id", "#!/bin/sh\necho 0\n")

    def program(self, name, text):
        (self.root / name).write_text(text)
        (self.root / name).chmod(0o755)

    def run_test_sh(self, *words, failing=""):
        ended = subprocess.run(
            [self.root / "test.sh", *words], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False,
            env={**os.environ, "FAILING": failing, "PATH": f"{self.root}/tools:{os.environ['PATH']}"})
        return ended.returncode, ended.stdout.splitlines()

    def quick(self, failing=""):
        return self.run_test_sh("--no-install", failing=failing)

    def steps_of(self, *words):
        status, lines = self.run_test_sh("--no-install", *words)
        self.assertEqual(status, 0, lines)
        return [line[3:] for line in lines if line.startswith("== ") and ":" not in line]

    def test_without_options_it_runs_the_quick_steps(self):
        self.assertEqual(self.steps_of(), QUICK)

    def test_with_all_it_runs_every_step(self):
        for preset in ("asan", "tsan"):
            (self.root / "build" / preset).mkdir()
        self.assertEqual(self.steps_of("--all"), ALL)

    def test_the_list_has_the_steps_of_both(self):
        listed = [line.split()[:2] for line in self.run_test_sh("--list")[1]]
        self.assertEqual([name for name, _ in listed], ALL)
        self.assertEqual([name for name, kind in listed if kind == "quick"], QUICK)
        self.assertEqual({kind for _, kind in listed}, {"quick", "all"})

    def test_a_list_of_what_was_chosen_has_names_alone(self):
        self.assertEqual(self.run_test_sh("--all", "--list"), (0, ALL))
        self.assertEqual(self.run_test_sh("--only", "g++", "--list"), (0, ["g++"]))
        self.assertEqual(self.run_test_sh("--tsan", "--list"), (0, ["tsan"]))

    def test_when_all_passes_the_last_line_is_the_sum(self):
        status, lines = self.quick()
        self.assertEqual((status, lines[-1]), (0, "3 passed, 0 failed"))
        self.assertNotIn("failed steps", "\n".join(lines))

    def test_steps_that_fail_are_named_and_counted(self):
        status, lines = self.quick("style tour")
        self.assertEqual((status, lines[-2:]), (1, ["failed steps: style tour", "3 passed, 2 failed"]))

    def test_tests_that_fail_are_counted_one_by_one(self):
        status, lines = self.quick("release")
        self.assertEqual((status, lines[-2:]), (1, ["failed steps: release", "1 passed, 2 failed"]))
        self.assertIn("what it said", lines)

    def test_no_tests_are_a_failure(self):
        status, lines = self.quick("none")
        self.assertEqual((status, lines[-2:]), (1, ["failed steps: release", "0 passed, 1 failed"]))

    def test_a_build_that_fails_leaves_the_other_steps(self):
        status, lines = self.quick("building")
        self.assertEqual((status, lines[-2:]), (1, ["failed steps: release", "0 passed, 1 failed"]))
        self.assertIn("running tour", lines)
        self.assertIn("error: the build failed (whole output: build/release.log)", lines)

    def test_what_fails_outside_of_tests_is_no_success(self):
        self.assertEqual(self.run_test_sh("--no-install", "--only", "tidy", failing="tidy")[1][-2:],
                         ["failed steps: tidy", "0 passed, 1 failed"])

    def test_quick_steps_install_nothing_for_others(self):
        self.run_test_sh("--only", "style")
        quick = (self.root / "installed").read_text()
        self.assertIn(" libgtest-dev ", quick)
        for package in ("clang-tidy", "gdb", "libdbus-1-dev"):
            self.assertNotIn(f" {package} ", quick)
        (self.root / "installed").unlink()
        self.run_test_sh("--only", "tidy")
        for package in ("libgtest-dev", "clang-tidy", "gdb", "libdbus-1-dev"):
            self.assertIn(f" {package} ", (self.root / "installed").read_text())


if __name__ == "__main__":
    unittest.main()
