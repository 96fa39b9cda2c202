# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of pages.py."""
import os
import pathlib
import tempfile
import unittest

import pages

ROOT = pathlib.Path(__file__).resolve().parents[2]


class PagesTest(unittest.TestCase):
    def setUp(self):
        os.chdir(ROOT)

    def relinked(self, path, text, files=()):
        self.assertEqual(pages.relink(path, text)[1], set(files))
        return pages.relink(path, text)[0]

    def test_a_document_keeps_its_links_to_documents(self):
        for text in ("[a](architecture.md#choices)", "[here](#down)", "[out](https://example.com/a.md)", "`[code](x.yaml)`",
                     "```\n[code](x.yaml)\n```", "[folder](../scenarios/)", "[more](../vm/README.md)"):
            self.assertEqual(self.relinked("docs/page.md", text), text)

    def test_a_link_to_the_front_leads_to_the_index(self):
        self.assertEqual(self.relinked("docs/page.md", "[a](../README.md#recipes)"), "[a](../index.md#recipes)")
        self.assertEqual(self.relinked("vm/README.md", "[a](../README.md)"), "[a](../index.md)")

    def test_a_link_to_a_file_leads_to_the_page_that_shows_it(self):
        self.assertEqual(self.relinked("docs/page.md", "[`attach`](../scenarios/attach.yaml)", ["scenarios/attach.yaml"]),
                         "[`attach`](../source/scenarios/attach.yaml.md)")
        self.assertEqual(self.relinked("README.md", "[l](LICENSE) ![p](docs/page.png)", ["LICENSE", "docs/page.png"]),
                         "[l](source/LICENSE.md) ![p](docs/page.png)")

    def test_a_diagram_is_drawn_above_the_link_to_its_text(self):
        self.assertEqual(self.relinked("docs/a.md", "Text:\n\n[An attach](diagrams/attach.puml)\n", ["docs/diagrams/attach.puml"]),
                         "Text:\n\n![An attach](diagrams/attach.svg)\n\n"
                         "[This diagram as text](../source/docs/diagrams/attach.puml.md)\n")
        self.assertEqual(self.relinked("docs/a.md", "See [it](diagrams/attach.puml).", ["docs/diagrams/attach.puml"]),
                         "See [it](../source/docs/diagrams/attach.puml.md).")

    def test_navigation_names_every_page_once(self):
        text = pages.navigation(["README.md", "docs/new.md", "docs/interface.md"], {"api/a-1.0.md": "a@1.0"})
        self.assertEqual(text, "".join(f"\n```{{toctree}}\n:hidden:\n:caption: {caption}\n\n{entry}\n```\n" for caption, entry in (
            ("Use", "/docs/interface"), ("Reference", "a@1.0 </api/a-1.0>"), ("More", "/docs/new"))))

    def test_a_file_is_shown_with_names_for_its_lines(self):
        page = pages.show("a/b.yaml", "one: 1\ntwo: <2>\n")
        self.assertTrue(page.startswith("---\norphan: true\n---\n\n# a/b.yaml\n"))
        self.assertIn('id="line-2"', page)
        self.assertIn("&lt;2&gt;", page)
        self.assertIn("plain", pages.show("a/LICENSE", "plain\n"))

    def test_all_documents_of_the_project_are_laid_out(self):
        with tempfile.TemporaryDirectory() as folder:
            pages.lay_out(pathlib.Path(folder))
            for document in pages.listed("*.md"):
                self.assertTrue((pathlib.Path(folder) / pages.page_of(document)).is_file(), document)


if __name__ == "__main__":
    unittest.main()
