"""Tests of links.py."""
import unittest

import links

FILES = {"docs/b.md": "# Of B\n\n## The rest: `x_y`, and (more)\n\n## Again\n\n## Again\n", "docs": ""}


def findings(text, path="docs/a.md"):
    return list(links.check(path, text, FILES.get))


class LinksTest(unittest.TestCase):
    def test_a_file_beside_the_document(self):
        self.assertEqual(findings("[b](b.md)"), [])
        self.assertEqual(findings("\n[c](c.md)"), ["docs/a.md:2: c.md: no such file"])

    def test_a_file_of_another_folder(self):
        self.assertEqual(findings("[b](../docs/b.md)", "tools/README.md"), [])
        self.assertEqual(findings("[b](docs/b.md)", "tools/README.md"),
                         ["tools/README.md:1: docs/b.md: no such file"])

    def test_a_heading_of_another_document(self):
        self.assertEqual(findings("[b](b.md#of-b) [b](b.md#the-rest-x_y-and-more)"), [])
        self.assertEqual(findings("[b](b.md#of-c)"), ["docs/a.md:1: b.md#of-c: no such heading"])

    def test_the_second_heading_of_a_name(self):
        self.assertEqual(findings("[b](b.md#again) [b](b.md#again-1)"), [])
        self.assertEqual(findings("[b](b.md#again-2)"), ["docs/a.md:1: b.md#again-2: no such heading"])

    def test_a_heading_of_the_document_itself(self):
        self.assertEqual(findings("[top](#a)\n# A\n"), [])
        self.assertEqual(findings("[top](#b)\n# A\n"), ["docs/a.md:1: #b: no such heading"])

    def test_two_links_in_a_line(self):
        self.assertEqual(findings("[b](b.md), [c](c.md)"), ["docs/a.md:1: c.md: no such file"])

    def test_code_holds_neither_links_nor_headings(self):
        self.assertEqual(findings("```\n[c](c.md)\n# A\n```\n`[c](c.md)`\n"), [])
        self.assertEqual(findings("[top](#a)\n```\n# A\n```\n"), ["docs/a.md:1: #a: no such heading"])

    def test_what_leads_out_of_the_project_is_left_alone(self):
        self.assertEqual(findings("[x](https://example.org/x.md)"), [])


if __name__ == "__main__":
    unittest.main()
