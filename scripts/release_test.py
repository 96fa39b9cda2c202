# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of release.sh, in a copy of the tree. Small programs stand in for the build, the tests and the site; the
packages are real and nearly empty."""
import os
import pathlib
import re
import subprocess
import tarfile
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent
STUB = '#!/bin/bash\necho "$0 $*" >>"$RELEASE_TEST_CALLS"\n'
# "--preset NAME" makes its build folder.
CMAKE = STUB + r'[[ "$*" =~ --preset\ ([a-z0-9]+) ]] && mkdir -p "build/${BASH_REMATCH[1]}"'
# Makes a package for the processor whose build folder it runs in, and one for all. Its program is the head of an ELF file.
CPACK = STUB + r"""
architecture=amd64 machine=62
if [[ $PWD == */arm64 ]]; then
    architecture=arm64 machine=${RELEASE_TEST_MACHINE:-183}
    [[ $(command -v dpkg-shlibdeps) == */scripts/arm64/dpkg-shlibdeps ]] || exit 1
fi
mkdir -p tree/DEBIAN package
for architecture in $architecture all; do
    rm -rf tree/usr
    if [ $architecture != all ]; then
        mkdir -p tree/usr/bin
        python3 -c "import sys; sys.stdout.buffer.write(bytes((127, 69, 76, 70, 2, 1, 1, *bytes(9), 2, 0, $machine, 0, 1,
            *bytes(31), 64, *bytes(11))))" >tree/usr/bin/program
    fi
    printf '%s\n' "Package: bivista" "Version: $RELEASE_TEST_VERSION" "Architecture: $architecture" "Maintainer: a <a@b>" \
        "Description: a" >tree/DEBIAN/control
    dpkg-deb --build tree "package/bivista_${RELEASE_TEST_VERSION}_$architecture.deb"
done
"""
SITE = STUB + "mkdir -p build/site && echo page >build/site/index.html\n"


class ReleaseTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.work = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory(prefix="bivista-release-")))
        cls.tree = cls.work / "tree"
        cls.git("checkout-index", "--all", f"--prefix={cls.tree}/", cwd=ROOT)
        for name, text in (("test.sh", STUB), ("scripts/site.sh", SITE), ("scripts/arm64-sysroot.sh", STUB)):
            (cls.tree / name).write_text(text, encoding="utf-8")
        for name, text in (("cmake", CMAKE), ("cpack", CPACK), ("dpkg", "#!/bin/bash\necho amd64\n")):
            cls.program(name, text)
        cls.version = re.search(r'"([\d.]+)"', (cls.tree / "kernel/base/Version.h").read_text(encoding="utf-8"))[1]
        cls.make_unreleased()
        cls.git("init", "-q")
        cls.commit()
        cls.git("tag", "start")

    def setUp(self):
        self.git("reset", "-q", "--hard", "start")
        self.git("clean", "-q", "-fdx")
        (self.work / "calls").unlink(missing_ok=True)

    @classmethod
    def make_unreleased(cls):
        """This tree may be a release."""
        for name, old, new in (("CHANGELOG.md", r"## Unreleased\n(?s:.)*", f"## Unreleased\n\nBecomes {cls.version}.\n\n- News.\n"),
                               ("package/changelog", r"\) \w+;", ") UNRELEASED;"),
                               ("interfaces/current.txt", r"(?m)^[0-9a-f].*\n", "")):
            path = cls.tree / name
            path.write_text(re.sub(old, new, path.read_text(encoding="utf-8")), encoding="utf-8")

    @classmethod
    def program(cls, name, text):
        path = cls.work / "bin" / name
        path.parent.mkdir(exist_ok=True)
        path.write_text(text, encoding="utf-8")
        path.chmod(0o755)

    @classmethod
    def git(cls, *words, cwd=None):
        subprocess.run(["git", "-c", "user.name=a", "-c", "user.email=a@b", *words], cwd=cwd or cls.tree, check=True,
                       capture_output=True)

    @classmethod
    def commit(cls):
        cls.git("add", "-A")
        cls.git("commit", "-q", "-m", "all")

    def run_release(self, *words, status=0, **variables):
        """Its output."""
        environment = {**os.environ, "PATH": f"{self.work}/bin:{os.environ['PATH']}", "RELEASE_TEST_VERSION": self.version,
                       "RELEASE_TEST_CALLS": f"{self.work}/calls", **variables}
        done = subprocess.run(["scripts/release.sh", *words], cwd=self.tree, env=environment, text=True, check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.assertEqual(done.returncode, status, done.stdout)
        return done.stdout

    def calls(self):
        """The stand-ins that ran."""
        path = self.work / "calls"
        return [pathlib.Path(line.split()[0]).name for line in path.read_text(encoding="utf-8").splitlines()] if path.exists() else []

    def prepare(self):
        self.run_release("--prepare", "2030-01-02")
        self.commit()

    @property
    def out(self):
        return self.tree / f"build/release-{self.version}"

    def test_a_tree_that_is_no_release_is_refused_with_the_remedy(self):
        self.assertIn(f"{self.version} is not released: scripts/release.sh --prepare, and commit", self.run_release("--dry-run", status=2))

    def test_a_tree_with_changes_is_refused(self):
        self.prepare()
        (self.tree / "new").touch()
        self.assertRegex(self.run_release("--dry-run", status=2), r"\?\? new\n(?s:.)*changes that are not committed")

    def test_a_tree_whose_versions_disagree_is_refused(self):
        self.prepare()
        (self.tree / "package/changelog").write_text("bivista (0.1) unstable;\n -- a <a@b>  today\n", encoding="utf-8")
        self.commit()
        self.assertIn("begins with 0.1, and the tree is", self.run_release("--dry-run", status=2))

    def test_a_release_is_prepared_once(self):
        self.assertIn("CHANGELOG.md\npackage/changelog\ninterfaces/current.txt\n", self.run_release("--prepare", "2030-01-02"))
        self.assertIn(f"\n## {self.version} - 2030-01-02\n", (self.tree / "CHANGELOG.md").read_text(encoding="utf-8"))
        self.assertIn("is released already", self.run_release("--prepare", status=2))

    def test_a_dry_run_says_what_would_run_and_makes_nothing(self):
        self.prepare()
        said = self.run_release("--dry-run")
        self.assertIn("would run, in this order: test_all packages_amd64 packages_arm64 documents sources sums\n", said)
        self.assertIn(f"build/release-{self.version}: packages for amd64 and arm64", said)
        self.assertEqual(self.calls(), [])
        self.assertFalse((self.tree / "build").exists())
        self.assertIn("in this order: packages_amd64 ", self.run_release("--dry-run", "--tested"))

    def test_wrong_arguments_are_refused(self):
        self.assertIn("unknown argument '--now'", self.run_release("--now", status=2))
        self.assertIn("--prepare takes a date", self.run_release("--prepare", "2030-01-02", "x", status=2))
        self.assertIn("no date: x", self.run_release("--prepare", "x", status=2))

    def test_a_release_has_packages_documents_sources_and_sums(self):
        self.prepare()
        said = self.run_release("--no-install")
        self.assertEqual(self.calls(), ["test.sh", "cmake", "cmake", "cpack", "arm64-sysroot.sh", "cmake", "cmake", "cmake", "cpack", "site.sh"])
        names = [f"bivista-{self.version}-documents.tar.gz", f"bivista-{self.version}.tar.gz",
                 *(f"bivista_{self.version}_{of}.deb" for of in ("all", "amd64", "arm64"))]
        self.assertEqual(sorted(path.name for path in self.out.iterdir()), sorted(["SHA256SUMS", *names]))
        subprocess.run(["sha256sum", "--check", "--quiet", "SHA256SUMS"], cwd=self.out, check=True)
        self.assertEqual(said.count(".deb\n"), 3)
        with tarfile.open(self.out / names[0]) as archive:
            self.assertIn(f"bivista-{self.version}-documents/index.html", archive.getnames())
        with tarfile.open(self.out / names[1]) as archive:
            self.assertIn(f"bivista-{self.version}/kernel/base/Version.h", archive.getnames())

    def test_documents_and_sources_are_the_same_each_time(self):
        self.prepare()
        archives = []
        for _ in range(2):
            self.run_release("--no-install", "--tested")
            archives.append([path.read_bytes() for path in sorted(self.out.glob("*.tar.gz"))])
        self.assertEqual(len(archives[0]), 2)
        self.assertEqual(*archives)

    def test_a_package_with_another_processor_s_program_is_refused(self):
        self.prepare()
        self.assertRegex(self.run_release("--no-install", "--tested", status=2, RELEASE_TEST_MACHINE="62"),
                         r"_arm64.deb has programs for Advanced Micro Devices X86-64")
        self.assertNotIn("test.sh", self.calls())

    def test_tests_that_fail_end_it(self):
        self.prepare()
        (self.tree / "test.sh").write_text(STUB + "exit 1\n", encoding="utf-8")
        self.commit()
        self.run_release("--no-install", status=1)
        self.assertEqual(self.calls(), ["test.sh"])
        self.assertEqual(list(self.out.iterdir()), [])


if __name__ == "__main__":
    unittest.main()
