# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of linux.sh: what it downloads and builds, and when it cannot. Small programs stand in for apt, dpkg and make."""
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent
# What the machine's lists have is old: the mirrors have the next version.
APT_CACHE = """#!/bin/bash
[ -n "$KNOWN$APT_CONFIG" ] || exit 100
v=1; [ -z "$APT_CONFIG" ] || v=2
case ${!#} in
    linux-image-amd64) echo "Depends: linux-image-6.$v-amd64 (= 6.$v-1)" ;;
    linux-headers-6.$v-amd64) echo "Depends: linux-headers-6.$v-common (= 6.$v-1), linux-kbuild-6.1 (>= 6.1), gcc-12" ;;
esac
"""
APT_GET = """#!/bin/bash
echo "$*" >>"$CALLS"
case " $* " in
    *" --print-uris "*" download "*) shift 3; for p; do echo "'http:' ${p%%=*}_1.deb 1250000 SHA256:0"; done ;;
    *" --print-uris "*) echo "'http:' kmod_1.deb 90000 SHA256:0"; echo "'http:' libkmod2_1.deb 80000 SHA256:0" ;;
    *" update "*) [ -z "$OFFLINE" ] || { echo "E: no network"; exit 100; } ;;
    *" download "*)
        [ -n "$CURRENT$APT_CONFIG" ] && [ -z "$OFFLINE" ] || { echo "E: 404"; exit 100; }
        shift 2; for p; do echo "$p" >"${p%%=*}.deb"; done ;;
esac
"""
DPKG = """#!/bin/bash
name=$(basename "$2" .deb)
mkdir -p "$3/usr/src/$name"
echo "include /usr/src/linux-headers-common/Makefile" >"$3/usr/src/$name/Makefile"
"""
DPKG_QUERY = """#!/bin/bash
[ "${!#}" = "$MISSING" ] || echo "install ok installed"
"""
MAKE = """#!/bin/bash
echo "make $*" >>"$CALLS"
[ -z "$BROKEN" ] || { echo "main.c:1:1: error: broken"; exit 2; }
for word; do case $word in M=*) echo "$*" >"${word#M=}/bivista_phone.ko" ;; esac; done
"""
STRIP = """#!/bin/bash
cp "$4" "$3"
"""
TOOLS = {"apt-cache": APT_CACHE, "apt-get": APT_GET, "dpkg": DPKG, "dpkg-query": DPKG_QUERY, "make": MAKE,
         "strip": STRIP, "depmod": "#!/bin/sh\n", "id": "#!/bin/sh\necho 0\n"}


class LinuxTest(unittest.TestCase):
    def setUp(self):
        self.root = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory(prefix="bivista-linux-")))
        for name in ("vm/linux.sh", "scripts/common.sh", "scripts/progress.sh", "scripts/packages.txt"):
            (self.root / name).parent.mkdir(exist_ok=True)
            shutil.copy(ROOT / name, self.root / name)
        (self.root / "vm/module").mkdir()
        (self.root / "vm/module/main.c").write_text("first")
        (self.root / "tools").mkdir()
        for name, text in TOOLS.items():
            self.tool(name, text)
        self.linux = self.root / "build/vm/linux"

    def tool(self, name, text):
        (self.root / "tools" / name).write_text(text)
        (self.root / "tools" / name).chmod(0o755)

    def run_sh(self, *words, path=f":{os.environ['PATH']}", **environment):
        """Returns the exit status, what is printed, and what apt-get and make were called for."""
        calls = self.root / "calls"
        calls.write_text("")
        # Only what a test gives says what apt has.
        values = {"KNOWN": "yes", "CURRENT": "yes", "OFFLINE": "", "MISSING": "", "BROKEN": "", "APT_CONFIG": ""}
        ended = subprocess.run([self.root / "vm/linux.sh", *words], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                               check=False, env={**os.environ, **values, "CALLS": str(calls), **environment,
                                                 "PATH": f"{self.root}/tools{path}"})
        return ended.returncode, ended.stdout.splitlines(), calls.read_text()

    def packages(self):
        return (self.linux / "packages").read_text().split()

    def refused(self, *words, status=120, **environment):
        """Returns the error, which is the last line, after which nothing of a kernel is there."""
        code, lines, _ = self.run_sh(*words, **environment)
        self.assertEqual(code, status, lines)
        self.assertFalse(self.linux.exists())
        self.assertTrue(lines[-1].startswith("error: "), lines)
        return lines[-1].removeprefix("error: ")

    def test_headers_are_of_the_image_s_version_and_lead_to_their_place(self):
        status, lines, _ = self.run_sh()
        self.assertEqual(status, 0, lines)
        self.assertEqual(self.packages(), ["linux-image-6.1-amd64=6.1-1", "linux-headers-6.1-amd64=6.1-1",
                                           "linux-headers-6.1-common=6.1-1", "linux-kbuild-6.1"])
        makefile = self.linux / "usr/src/linux-headers-6.1-amd64/Makefile"
        self.assertEqual(makefile.read_text(), "include $(dir $(lastword $(MAKEFILE_LIST)))../linux-headers-common/Makefile\n")

    def test_downloads_are_listed_with_size_and_purpose(self):
        _, lines, calls = self.run_sh(MISSING="kmod")
        self.assertEqual([line.split() for line in lines[1:8]], [
            ["kmod", "0.1", "MB", "finds", "the", "kernel's", "drivers"], ["libkmod2", "0.1", "MB", "needed", "by", "those"],
            ["linux-image-6.1-amd64", "1.3", "MB", "the", "kernel", "and", "its", "drivers"],
            ["linux-headers-6.1-amd64", "1.3", "MB", "the", "kernel's", "headers,", "for", "the", "phone's", "module"],
            ["linux-headers-6.1-common", "1.3", "MB", "the", "kernel's", "headers", "for", "every", "processor"],
            ["linux-kbuild-6.1", "1.3", "MB", "the", "kernel's", "build", "programs,", "for", "the", "phone's", "module"],
            ["together", "5", "MB"]])
        self.assertIn("install -q -y --no-install-recommends kmod\n", calls)
        self.assertNotIn(" linux-image", calls.split("install -q", 1)[1].split("\n", 1)[0])

    def test_what_is_there_is_kept(self):
        self.run_sh()
        # Offline, too, and where apt knows another version.
        self.assertEqual(self.run_sh("--no-install", OFFLINE="yes", KNOWN=""), (0, [], ""))

    def test_image_and_headers_come_anew_together_where_the_mirror_has_moved_on(self):
        status, lines, _ = self.run_sh(CURRENT="")
        self.assertEqual(status, 0, lines)
        self.assertEqual(self.packages(), ["linux-image-6.2-amd64=6.2-1", "linux-headers-6.2-amd64=6.2-1",
                                           "linux-headers-6.2-common=6.2-1", "linux-kbuild-6.1"])
        # A set that is not whole is no set.
        (self.linux / "packages").unlink()
        self.assertEqual(self.run_sh()[0], 0)
        self.assertEqual([folder.name for folder in sorted((self.linux / "usr/src").glob("*amd64"))],
                         ["linux-headers-6.1-amd64", "linux-image-6.1-amd64"])

    def test_lists_come_from_the_mirrors_where_apt_has_none(self):
        status, lines, calls = self.run_sh(KNOWN="")
        self.assertEqual(status, 0, lines)
        self.assertTrue(calls.startswith("-q update\n"), calls)
        self.assertEqual(self.packages()[0], "linux-image-6.2-amd64=6.2-1")

    def test_the_module_is_built_anew_after_a_change_only(self):
        self.assertIn("make ", self.run_sh()[2])
        self.assertEqual(self.run_sh()[2], "")
        (self.root / "vm/module/main.c").write_text("second")
        self.assertIn("usr/src/linux-headers-6.1-amd64 M=", self.run_sh()[2])
        self.assertEqual(self.run_sh()[2], "")
        (self.linux / "packages").unlink()
        self.assertIn("usr/src/linux-headers-6.2-amd64 M=", self.run_sh(KNOWN="")[2])

    def test_what_cannot_be_had(self):
        self.assertEqual(self.refused(OFFLINE="yes"), "apt-get update: E: no network")
        self.assertEqual(self.refused(OFFLINE="yes", KNOWN=""), "apt-get update: E: no network")
        self.assertIn("apt-get could not install: kmod (", self.refused(OFFLINE="yes", MISSING="kmod"))
        self.assertEqual(self.refused("--no-install"), "there is no kernel in build/vm/linux; run without --no-install")
        self.assertEqual(self.refused("--no-install", MISSING="kmod"), "there is no kmod; run without --no-install")
        self.assertEqual(self.refused("--frob", status=2), "usage: vm/linux.sh [--no-install]")
        self.tool("uname", "#!/bin/sh\necho riscv64\n")
        self.assertEqual(self.refused(), "the machine is made for x86-64 only, and this is riscv64")

    def test_there_is_no_apt(self):
        (self.root / "tools/apt-get").unlink()
        for program in pathlib.Path("/usr/bin").iterdir():
            if not program.name.startswith("apt") and not (self.root / "tools" / program.name).exists():
                (self.root / "tools" / program.name).symlink_to(program)
        self.assertEqual(self.refused(path=""), "this needs Debian's apt-get, to get a kernel")

    def test_a_module_that_does_not_build(self):
        status, lines, _ = self.run_sh(BROKEN="yes")
        self.assertEqual(status, 122)
        self.assertEqual(lines[-2:], ["main.c:1:1: error: broken", "error: the phone's module does not build (whole output: "
                                      f"{self.root}/build/vm/module.log)"])
        self.assertEqual(self.run_sh()[0], 0)


if __name__ == "__main__":
    unittest.main()
