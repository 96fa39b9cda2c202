"""Tests of package.py."""
import os
import tempfile
import unittest

import package

FOLDER = "drwxr-xr-x"
PROGRAM = "-rwxr-xr-x"
FILE = "-rw-r--r--"
SERVICE = "/usr/libexec/bivista/vendor.qmx.hardware.bivista@1.1-service"
GOOD_UNIT = f"ExecStart={SERVICE}\nEnvironment=ANDROID_PROPERTY_FILE=/etc/bivista/host.prop A=b\n"
GOOD_PROGRAM = """
  Type:                              DYN (Position-Independent Executable file)
  [ 1] .interp           PROGBITS
 0x000000000000001d (RUNPATH)            Library runpath: [/usr/lib/x/android]
"""


def good():
    entries = [(PROGRAM if path in package.PROGRAMS else FILE, "root/root", path)
               for path in package.REQUIRED]
    return [(FOLDER, "root/root", "/etc/bivista/")] + entries


def listing(entries, conffiles=("/etc/bivista/host.prop",)):
    return list(package.check_listing(entries, conffiles))


class Listing(unittest.TestCase):
    def test_reads_what_dpkg_prints(self):
        text = ("drwxr-xr-x root/root         0 2026-01-02 03:04 ./etc/\n"
                "-rwxr-xr-x root/root   1446552 2026-01-02 03:04 ./usr/bin/a b\n")
        self.assertEqual(list(package.parse_listing(text)),
                         [(FOLDER, "root/root", "/etc/"), (PROGRAM, "root/root", "/usr/bin/a b")])

    def test_refuses_another_line(self):
        with self.assertRaises(ValueError):
            list(package.parse_listing("total 12\n"))

    def test_good(self):
        self.assertEqual(listing(good()), [])

    def test_each_required_file(self):
        for path in package.REQUIRED:
            rest = [entry for entry in good() if entry[2] != path]
            self.assertIn(f"{path}: missing", listing(rest))

    def test_a_program_comes_with_its_page(self):
        names = {path.rsplit("/", 1)[1] for path in package.PROGRAMS if path.startswith("/usr/bin/")}
        self.assertEqual({path.rsplit("/", 1)[1] for path in package.PAGES},
                         {f"{name}.1.gz" for name in names} | {"bivista-service.8.gz"})
        for path in package.PAGES + package.COMPLETIONS:
            self.assertIn(path, package.REQUIRED)

    def test_owner(self):
        entries = good() + [(FILE, "me/me", "/usr/share/doc/bivista/a")]
        self.assertEqual(listing(entries), ["/usr/share/doc/bivista/a: belongs to me/me"])

    def test_modes(self):
        for mode, path in (("-rwsr-xr-x", "/usr/share/doc/bivista/a"),
                           ("-rw-rw-r--", "/usr/share/doc/bivista/a"),
                           ("-rwxr-xr-x", "/usr/share/doc/bivista/a")):
            self.assertEqual(listing(good() + [(mode, "root/root", path)]), [f"{path}: mode {mode}"])
        entries = [("drwxrwxr-x", "root/root", "/etc/bivista/")] + good()[1:]
        self.assertEqual(listing(entries), ["/etc/bivista/: mode drwxrwxr-x"])

    def test_program_that_cannot_be_run(self):
        entries = [(FILE, owner, path) if path == SERVICE else (mode, owner, path)
                   for mode, owner, path in good()]
        self.assertEqual(listing(entries), [f"{SERVICE}: mode {FILE}"])

    def test_place(self):
        entries = good() + [(FILE, "root/root", "/usr/local/a")]
        self.assertEqual(listing(entries), ["/usr/local/a: not a place for it"])

    def test_empty_folder(self):
        entries = good() + [(FOLDER, "root/root", "/usr/share/doc/bivista/docs/none/")]
        self.assertEqual(listing(entries), ["/usr/share/doc/bivista/docs/none/: empty"])

    def test_conffiles(self):
        self.assertEqual(listing(good(), []),
                         ["/etc/bivista/host.prop: in /etc and among the conffiles, or neither"])
        self.assertEqual(listing(good(), ["/etc/bivista/host.prop", "/etc/b"]),
                         ["/etc/b: in /etc and among the conffiles, or neither"])


class Unit(unittest.TestCase):
    def findings(self, text):
        return list(package.check_unit(text, package.REQUIRED))

    def test_good(self):
        self.assertEqual(self.findings(GOOD_UNIT), [])

    def test_program_of_another_place(self):
        self.assertEqual(self.findings("ExecStart=/usr/bin/other\n"),
                         [f"{package.UNIT}: starts ['/usr/bin/other']"])

    def test_no_program(self):
        self.assertEqual(self.findings("[Service]\n"), [f"{package.UNIT}: starts []"])

    def test_file_that_is_not_there(self):
        self.assertEqual(self.findings(GOOD_UNIT + "Documentation=file:///usr/share/doc/a.md\n"),
                         [f"{package.UNIT}: names /usr/share/doc/a.md"])


class Links(unittest.TestCase):
    def findings(self, **files):
        """`files`: texts of documents by their names, a lower line in the place of a slash."""
        with tempfile.TemporaryDirectory() as folder:
            for name, text in files.items():
                path = os.path.join(folder, "doc", name.replace("_", "/") + ".md")
                os.makedirs(os.path.dirname(path), exist_ok=True)
                with open(path, "w", encoding="utf-8") as file:
                    file.write(text)
            return list(package.check_links(folder))

    def test_good(self):
        self.assertEqual(self.findings(a="[b](docs/b.md#one) [x](https://x)\n",
                                       docs_b="# One\n[a](../a.md)\n"), [])

    def test_file_that_is_not_in_the_package(self):
        self.assertEqual(self.findings(a="\n[b](docs/b.md)\n", docs_c="[a](../a)\n"),
                         ["doc/a.md:2: docs/b.md: no such file", "doc/docs/c.md:1: ../a: no such file"])

    def test_file_outside_of_the_package(self):
        up = "../" * 20
        self.assertEqual(self.findings(a=f"[b]({up}etc/passwd)\n"),
                         [f"doc/a.md:1: {up}etc/passwd: no such file"])

    def test_heading_that_is_not_there(self):
        self.assertEqual(self.findings(a="[b](docs/b.md#two)\n", docs_b="# One\n"),
                         ["doc/a.md:1: docs/b.md#two: no such heading"])


class Depends(unittest.TestCase):
    def test_good(self):
        self.assertEqual(list(package.check_depends(
            "android-libcutils (>= 1:29), android-liblog, android-libutils, libc6 (>= 2), libstdc++6")), [])

    def test_missing(self):
        self.assertEqual(list(package.check_depends(
            "android-libcutils, android-libutils, libc6 (>= 2), libstdc++6, libandroid-liblog")),
            ["Depends: no android-liblog"])


class Changelog(unittest.TestCase):
    def findings(self, text):
        return list(package.check_changelog(text, "1.1.0"))

    def test_good(self):
        self.assertEqual(self.findings("bivista (1.1.0) unstable; urgency=medium\n"), [])

    def test_another_version_is_the_last(self):
        self.assertEqual(self.findings("bivista (1.0.0) unstable\n\nbivista (1.1.0) unstable\n"),
                         [f"{package.CHANGELOG}: does not begin with version 1.1.0"])


class Program(unittest.TestCase):
    def findings(self, text):
        return list(package.check_program("/p", text, "x"))

    def test_good(self):
        self.assertEqual(self.findings(GOOD_PROGRAM), [])

    def test_fixed_address(self):
        self.assertEqual(self.findings(GOOD_PROGRAM.replace("DYN", "EXEC")),
                         ["/p: cannot be loaded anywhere"])

    def test_not_stripped(self):
        for section in ("symtab", "debug_info"):
            self.assertEqual(self.findings(GOOD_PROGRAM + f"  [30] .{section}  PROGBITS\n"),
                             ["/p: not stripped"])

    def test_libraries_of_the_build(self):
        self.assertEqual(self.findings(GOOD_PROGRAM.replace("/usr/lib/x/android", "/home/me")),
                         ["/p: looks for libraries in ['/home/me']"])
        self.assertEqual(self.findings("Type:   DYN (\n"), ["/p: looks for libraries in []"])


if __name__ == "__main__":
    unittest.main()
