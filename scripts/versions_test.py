# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of versions.py: small defects of the real tree and of a release of it, and what is found of each."""
import os
import pathlib
import re
import unittest

import phone
import versions

ROOT = pathlib.Path(__file__).resolve().parent.parent
HEADER = phone.VERSION_HEADER
NEWS = "## Unreleased\n\nBecomes 7.2.0.\n\n- News.\n\n## 7.1.0 - 2030-01-02\n"
# What stands in a file, and what instead; what is found. Of a tree that is on its way to 7.1.0, its first release:
UNRELEASED = (
    (versions.CHANGELOG, "## Unreleased", "## Unpublished", "does not begin with Unreleased"),
    (versions.CHANGELOG, "Becomes .*\n", "", "begins neither with 'Becomes VERSION' nor with 'Nothing yet.'"),
    (versions.CHANGELOG, r"Becomes (?s:.)*", "Nothing yet.\n", "has no version"),
    (versions.CHANGELOG, "Becomes 7.1.0", "Becomes 7.1.1", "becomes 7.1.1, and the tree is 7.1.0"),
    (versions.DEBIAN, "7.1.0", "7.0.0", "begins with 7.0.0, and the tree is 7.1.0"),
    (versions.DEBIAN, "UNRELEASED", "unstable", "says unstable, and 7.1.0 is not released: UNRELEASED"),
    (versions.DEBIAN, "(?s).*", "", "begins with no entry"),
    (versions.HASHES, "$", "\n0123 vendor.qmx.hardware.bivista@1.0::types", "has hashes, and nothing was released"),
)
# And of the tree that is this release:
RELEASED = (
    (versions.CHANGELOG, "7.1.0 - 2030-01-02", "7.1.0", "no release and its date: 7.1.0"),
    (versions.CHANGELOG, "2030-01-02", "2030-13-02", "no date: 2030-13-02"),
    (versions.CHANGELOG, "$", "\n## 7.1.0 - 2029-01-01\n", "not the newest first: 7.1.0 - 2029-01-01"),
    (versions.CHANGELOG, "$", "\n## 7.0.0 - 2031-01-01\n", "not the newest first: 7.0.0 - 2031-01-01"),
    (versions.CHANGELOG, "7.1.0 - ", "7.0.0 - ", "the newest release is 7.0.0, and the tree is 7.1.0"),
    (versions.CHANGELOG, "Nothing yet.", "Becomes 7.1.0.", "has news after 7.1.0, and the tree is still 7.1.0"),
    (versions.DEBIAN, "unstable", "UNRELEASED", "says UNRELEASED, and 7.1.0 is released: unstable"),
    (versions.DEBIAN, "02 Jan 2030", "03 Jan 2030", "has another date than CHANGELOG.md"),
    (versions.HASHES, r"\n\w{64} \S+bivista@1.0::IBivista\n", "\n", "lacks: .*bivista@1.0::IBivista$"),
    (versions.HASHES, r"\n\w{64} (\S+bivista@1.1::types)\n", r"\n0123 \1\n",
     "(?s)has, and it is no released interface of ours as it is: 0123 .*lacks: .*@1.1::types$"),
    (versions.HASHES, r"\n.*@1.1(?s:.)*", "\n", "(?s)lacks: .*@1.1::types.*"),
    (versions.HASHES, "$", "\n0123 vendor.qmx.hardware.lpwg@1.3::ILpwg\n", "no released interface of ours as it is: 0123 "),
)


class VersionsTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        os.chdir(ROOT)
        real = phone.Tree()
        changelog = re.sub(r"## Unreleased\n(?s:.)*", "## Unreleased\n\nBecomes 7.1.0, the first.\n\n- News.\n", real.read(versions.CHANGELOG))
        cls.unreleased = {
            HEADER: re.sub(r'"[\d.]+"', '"7.1.0"', real.read(HEADER)), versions.CHANGELOG: changelog,
            versions.DEBIAN: re.sub(r"\(.*?\) \w+;", "(7.1.0) UNRELEASED;", real.read(versions.DEBIAN), count=1),
            versions.HASHES: re.sub(r"(?m)^[0-9a-f].*\n", "", real.read(versions.HASHES))}
        cls.released = {**cls.unreleased, **versions.release(phone.Tree(cls.unreleased), "2030-01-02")}

    def findings(self, files):
        return "\n".join(versions.check(phone.Tree(files)))

    def check(self, files, defects):
        self.assertEqual(self.findings(files), "")
        for file, old, new, finding in defects:
            with self.subTest(file=file, old=old, new=new):
                changed, count = re.subn(old, new, files[file], count=1)
                self.assertEqual(count, 1)
                self.assertRegex(self.findings({**files, file: changed}), finding)

    def test_the_tree_is_right(self):
        self.assertEqual(self.findings({}), "")

    def test_defects_of_an_unreleased_tree_are_found(self):
        self.check(self.unreleased, UNRELEASED)

    def test_defects_of_a_released_tree_are_found(self):
        self.check(self.released, RELEASED)

    def test_a_release_dates_both_changelogs_and_freezes_our_interfaces(self):
        self.assertIn("## Unreleased\n\nNothing yet.\n\n## 7.1.0 - 2030-01-02\n\n- News.\n", self.released[versions.CHANGELOG])
        self.assertIn("(7.1.0) unstable;", self.released[versions.DEBIAN])
        self.assertIn("  Wed, 02 Jan 2030 12:00:00 +0000\n", self.released[versions.DEBIAN])
        names = set(phone.frozen(phone.Tree(self.released)).values())
        self.assertIn("vendor.qmx.hardware.bivista@1.1::IBivista", names)
        self.assertEqual([name for name in names if not name.startswith("vendor.qmx.hardware.bivista@")], [])

    def test_a_release_comes_once(self):
        with self.assertRaisesRegex(versions.Unreadable, "7.1.0 is released already"):
            versions.release(phone.Tree(self.released), "2030-01-03")

    def test_a_release_has_a_date(self):
        with self.assertRaisesRegex(versions.Unreadable, "no date: today"):
            versions.release(phone.Tree(self.unreleased), "today")

    def test_after_a_release_news_takes_a_new_version(self):
        after = {**self.released, HEADER: self.released[HEADER].replace("7.1.0", "7.2.0"),
                 versions.DEBIAN: self.unreleased[versions.DEBIAN].replace("7.1.0", "7.2.0"),
                 versions.CHANGELOG: self.released[versions.CHANGELOG].replace(
                     "## Unreleased\n\nNothing yet.\n\n## 7.1.0 - 2030-01-02\n", NEWS)}
        self.check(after, (
            (versions.HASHES, r"(?m)^[0-9a-f](?s:.)*", "", "lacks: .*bivista@1.0::IBivista$"),
            (versions.HASHES, r"\n\w{64} \S+bivista@1.0::IBivista\n", "\n", "lacks: .*bivista@1.0::IBivista$"),
        ))
        # A version of the interface that came since has no hash until it is released, too.
        self.check({**after, versions.HASHES: re.sub(r"(?m)^.*@1.1::.*\n", "", after[versions.HASHES])}, ())

    def test_a_second_release_adds_what_is_new(self):
        after = {**self.released, HEADER: self.released[HEADER].replace("7.1.0", "7.2.0"),
                 versions.DEBIAN: self.unreleased[versions.DEBIAN].replace("7.1.0", "7.2.0"),
                 versions.HASHES: re.sub(r"(?m)^.*@1.1::.*\n", "", self.released[versions.HASHES]),
                 versions.CHANGELOG: self.released[versions.CHANGELOG].replace(
                     "## Unreleased\n\nNothing yet.\n\n## 7.1.0 - 2030-01-02\n", NEWS)}
        released = {**after, **versions.release(phone.Tree(after), "2030-02-02")}
        self.assertEqual(self.findings(released), "")
        self.assertEqual(set(phone.frozen(phone.Tree(released))), set(phone.frozen(phone.Tree(self.released))))


if __name__ == "__main__":
    unittest.main()
