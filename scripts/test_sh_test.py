# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of ./test.sh: which steps it runs, and what its last lines say of them. Small programs stand in for the steps."""
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent
# Each fails when it is among $FAILING: scripts by their names, presets of ctest and cmake too.
STEP = """#!/bin/bash
[ "$1" != -B ] || shift
for word in "$0" "$@"; do
    step=${word##*/}; step=${step%.*}; step=${step#check-}
    [[ " $FAILING " != *" $step "* ]] || { echo "error: $step"; exit 1; }
done
"""
CTEST = """#!/bin/bash
case " $FAILING " in
    *" tests "*) printf '%s\\n' '1/3 Test #1: a.B ...***Failed  0.1 sec' 'what it said' \\
        '33% tests passed, 2 tests failed out of 3'; exit 8 ;;
    *" none "*) echo 'No tests were found!!!'; exit 8 ;;
    *) echo '100% tests passed, 0 tests failed out of 3' ;;
esac
"""


class TestShTest(unittest.TestCase):
    def setUp(self):
        self.root = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory(prefix="bivista-test-sh-")))
        for name in ("test.sh", "scripts/common.sh", "scripts/progress.sh", "scripts/packages.txt"):
            (self.root / name).parent.mkdir(exist_ok=True)
            shutil.copy(ROOT / name, self.root / name)
        for preset in ("release", "asan", "tsan"):
            (self.root / "build" / preset).mkdir(parents=True)
        for name in ("scripts/check-style.sh", "scripts/check-tidy.sh", "scripts/check-phone.sh",
                     "scripts/check-package.sh", "scripts/check-browser.sh", "scripts/check-kernel.sh",
                     "scripts/check-site.sh", "vts/mutate.py",
                     "tests/recordings/changes.py", "tools/python3", "tools/cmake"):
            self.program(name, STEP)
        self.program("tools/ctest", CTEST)
        for name in ("clang++", "ninja", "hidl-gen", "capnp", "unshare", "dpkg-query"):
            self.program(f"tools/{name}", "#!/bin/sh\n")
        self.program("tools/apt-get", f"#!/bin/sh\necho $* >>{self.root}/installed\n")
        self.program("tools/id", "#!/bin/sh\necho 0\n")

    def program(self, name, text):
        (self.root / name).parent.mkdir(parents=True, exist_ok=True)
        (self.root / name).write_text(text)
        (self.root / name).chmod(0o755)

    def run_test_sh(self, *words, failing="", install=False, path=os.environ["PATH"]):
        ended = subprocess.run(
            [self.root / "test.sh", *words, *([] if install else ["--no-install"])], stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT, text=True, check=False,
            env={**os.environ, "FAILING": failing, "PATH": f"{self.root}/tools:{path}"})
        return ended.returncode, ended.stdout.splitlines()

    def test_it_runs_the_steps_that_are_asked_for(self):
        listed = [line.split()[:2] for line in self.run_test_sh("--list")[1]]
        quick = [name for name, kind in listed if kind == "quick"]
        self.assertIn("style", quick)
        self.assertIn("asan", {name for name, _ in listed} - set(quick))
        every = [name for name, _ in listed]
        for words, steps in (((), quick), (("--all",), every), (("--only", "phone"), ["phone"]), (("--tsan",), ["tsan"]),
                             (("--kernel",), ["kernel"]), (("--kernel", "--long"), ["kernel"])):
            status, lines = self.run_test_sh(*words)
            self.assertEqual((status, [line[3:] for line in lines if line.startswith("== ") and ":" not in line]), (0, steps))
            if words:
                self.assertEqual(self.run_test_sh(*words, "--list"), (0, steps))

    def test_long_is_for_the_kernel(self):
        self.program("scripts/check-kernel.sh", f"#!/bin/sh\necho \"$*\" >{self.root}/words\n")
        for words, given in ((("--kernel",), "\n"), (("--kernel", "--long"), "--long\n"), (("--long", "--kernel"), "--long\n")):
            self.assertEqual(self.run_test_sh(*words)[0], 0)
            self.assertEqual((self.root / "words").read_text(), given)
        for words in (("--long",), ("--all", "--long"), ("--tsan", "--long")):
            self.assertEqual(self.run_test_sh(*words), (2, ["error: --long goes with --kernel"]))

    def test_the_last_lines_name_what_failed_and_have_the_sum(self):
        for failing, last in (("", ["3 passed, 0 failed"]),
                              ("style tour", ["failed steps: style tour", "3 passed, 2 failed"]),
                              ("tests", ["failed steps: release", "1 passed, 2 failed"]),
                              ("none", ["failed steps: release", "0 passed, 1 failed"]),
                              ("release", ["failed steps: release tour", "0 passed, 2 failed"])):
            status, lines = self.run_test_sh(failing=failing)
            self.assertEqual((status, lines[-len(last):]), (1 if failing else 0, last), lines)
            self.assertEqual("what it said" in lines, failing == "tests")
            self.assertEqual("error: the build failed (whole output: build/release.log)" in lines, failing == "release")

    def test_quick_steps_install_nothing_for_others(self):
        for step, others, mark in (("style", False, ""), ("tidy", True, ""), ("browser", True, "chromium-driver"),
                                   ("kernel", False, "qemu-system-x86")):
            (self.root / "installed").unlink(missing_ok=True)
            self.assertEqual(self.run_test_sh("--only", step, install=True)[0], 0)
            installed = (self.root / "installed").read_text()
            self.assertIn(" libgtest-dev ", installed)
            for package in ("clang-tidy", "gdb", "libdbus-1-dev"):
                self.assertEqual(f" {package} " in installed, others)
            for package in ("chromium-driver", "qemu-system-x86"):
                self.assertEqual(f" {package} " in installed, package == mark)

    def test_npm_is_installed_for_the_browser_where_there_is_none(self):
        self.program("tools/npm", "#!/bin/sh\n")
        self.run_test_sh("--only", "browser", install=True)
        self.assertNotIn(" npm ", (self.root / "installed").read_text())
        (self.root / "tools/npm").unlink()
        for program in pathlib.Path("/usr/bin").iterdir():
            if program.name != "npm" and not (self.root / "tools" / program.name).exists():
                (self.root / "tools" / program.name).symlink_to(program)
        self.run_test_sh("--only", "browser", install=True, path="")
        self.assertIn(" npm ", (self.root / "installed").read_text().replace("\n", " "))
