# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of built.py."""
import pathlib
import tempfile
import unittest

import built


class BuiltTest(unittest.TestCase):
    def check(self, index, *findings, **files):
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder).resolve() / "site"
            (root / "docs").mkdir(parents=True)
            (root.parent / "outside.html").touch()
            texts = {"index.html": f'<a href="docs/a.html">a</a>\n{index}', "docs/a.html": '<p id="p">', **files}
            for name, text in texts.items():
                (root / name).write_text(text, encoding="utf-8")
            self.assertEqual(list(built.check(root)), list(findings))

    def test_links_within_the_site_are_right(self):
        for link in ("docs/a.html#p", "docs/../docs/a.html?q=1", "#here", "#", "https://example.com/", "mailto:a@b"):
            self.check(f'<a name="here" href="{link}">')

    def test_links_that_lead_nowhere_are_found(self):
        for link, finding in (("docs/b.html", "no such file"), ("docs/", "no such file"), ("/docs/a.html", "leads out of the site"),
                              ("../outside.html", "leads out of the site"), ("docs/a.html#q", "no such name in it"),
                              ("#there", "no such name in it")):
            self.check(f'<a href="{link}">', f"index.html:2: {link}: {finding}")
        self.check('<img src="docs/a.svg">', "index.html:2: docs/a.svg: no such file")

    def test_nothing_comes_from_elsewhere(self):
        for tag in ('<script src="{}">', '<img src="{}">', '<link href="{}">', '<iframe src="{}">'):
            for link in ("https://example.com/x", "//example.com/x"):
                self.check(tag.format(link), f"index.html:2: {link}: comes from elsewhere")
        self.check('<img src="data:image/png;base64,AA==">')
        self.check("", "a.css: //example.com/g: comes from elsewhere", "a.css: https://example.com/f: comes from elsewhere",
                   **{"a.css": '@import "//example.com/g"; a { b: url(https://example.com/f) url(c.png) }'})

    def test_every_page_is_reached(self):
        self.check("", "docs/b.html: no page leads to it", **{"docs/b.html": "", "search.html": ""})
        self.check('<a href="docs/b.html">', **{"docs/b.html": ""})


if __name__ == "__main__":
    unittest.main()
