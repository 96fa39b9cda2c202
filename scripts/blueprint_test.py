"""Tests of blueprint.py."""
import unittest

import blueprint


class BlueprintTest(unittest.TestCase):
    def test_reads_modules_in_order(self):
        self.assertEqual(blueprint.read('a { name: "x", }\nb { name: "y" }\n'),
                         [("a", {"name": "x"}), ("b", {"name": "y"})])

    def test_reads_every_kind_of_value(self):
        text = 'a {\n    t: "a\\"b", b: true, c: false, n: -3, l: ["x", "y",], m: {k: [],},\n}\n'
        self.assertEqual(blueprint.read(text),
                         [("a", {"t": 'a"b', "b": True, "c": False, "n": -3, "l": ["x", "y"],
                                 "m": {"k": []}})])

    def test_passes_over_comments(self):
        self.assertEqual(blueprint.read('// a {\n/* b {\n} */ c { /* d */ }'), [("c", {})])

    def test_an_empty_file_holds_no_module(self):
        self.assertEqual(blueprint.read("\n// nothing\n"), [])

    def test_tells_the_line_of_a_mistake(self):
        for text, message in (
                ("a {\n    name 3,\n}", "line 2: 3 where : belongs"),
                ('a {\n    l: ["x" "y"],\n}', 'line 2: "y" where , belongs'),
                ("a {\n    name: b,\n}", "line 2: b is no value"),
                ("a {\n    n: 3,\n", "line 3: the end where more belongs"),
                ("a {\n    n: 3 = 4,\n}", "line 2: what is '='?"),
                ('a { n: "x', "line 1: what is '\"'?")):
            with self.assertRaises(blueprint.SyntaxProblem) as caught:
                blueprint.read(text)
            self.assertEqual(str(caught.exception), message)


if __name__ == "__main__":
    unittest.main()
