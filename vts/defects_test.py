# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of defects.py: what changes do to texts, and that each defect fits its source."""
import unittest

import defects
import mutate


class ChangeTest(unittest.TestCase):
    def test_replaces_at_one_place(self):
        self.assertEqual(defects.replace("b", "x")("abc"), "axc")

    def test_does_not_replace_what_is_absent_or_ambiguous(self):
        for text in ("ac", "abcb"):
            with self.assertRaises(defects.Useless):
                defects.replace("b", "x")(text)

    def test_swaps_two_parts(self):
        self.assertEqual(defects.swap("case 1:", "case 22:")("case 1: a case 22: b"),
                         "case 22: a case 1: b")

    def test_does_not_swap_what_is_absent_or_ambiguous(self):
        for text in ("case 1:", "case 1: case 1: case 2:"):
            with self.assertRaises(defects.Useless):
                defects.swap("case 1:", "case 2:")(text)


class DefectTest(unittest.TestCase):
    def test_there_are_at_least_45_with_names_of_their_own(self):
        self.assertGreaterEqual(len(defects.DEFECTS), 45)
        self.assertEqual(len({defect.name for defect in defects.ALL}), len(defects.ALL))

    def test_each_changes_its_source(self):
        for defect in defects.ALL:
            if defect.source == defects.INTERFACE:
                continue  # made by the build
            self.assertTrue(defect.source.endswith(".cpp"), f"{defect.name}: only a source is compiled")
            text = (mutate.ROOT / defect.source).read_text()
            self.assertNotEqual(defects.apply(defect, text), text, defect.name)

    def test_each_meets_a_phone_that_there_is(self):
        self.assertEqual({defect.phone for defect in defects.ALL}, set(mutate.PHONES))

    def test_the_hidden_ones_alone_have_a_reason_and_meet_all_tests(self):
        self.assertFalse([defect.name for defect in defects.DEFECTS if defect.reason])
        self.assertFalse([defect.name for defect in defects.HIDDEN if not defect.reason or defect.tests])


if __name__ == "__main__":
    unittest.main()
