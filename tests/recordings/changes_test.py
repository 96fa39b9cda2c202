# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of changes.py: its data, and what it makes of a replay."""
import unittest

import changes
import defects


class ChangesTest(unittest.TestCase):
    def test_fit_the_sources(self):
        for change in changes.CHANGES:
            text = (changes.ROOT / change.source).read_text()
            self.assertNotEqual(defects.apply(change, text), text, change.name)

    def test_are_ten_different_ones(self):
        self.assertEqual(len({change.name for change in changes.CHANGES}), 10)


class LanesTest(unittest.TestCase):
    def test_are_the_headings_of_a_replays_differences(self):
        output = ("recorded      replayed\n\ntty, deed 3\n0.1 AT       0.1 AT\n0.2 x, deed 4 ! 0.2 y\n\n"
                  "node /sys/class/a/b, deed 12\n(nothing)    ! 0.3 open b\n")
        self.assertEqual(changes.lanes_of(output), ["tty", "node /sys/class/a/b"])
        self.assertEqual([changes.short(lane) for lane in changes.lanes_of(output)], ["tty", "node b"])

    def test_are_none_without_a_difference(self):
        self.assertEqual(changes.lanes_of(""), [])


if __name__ == "__main__":
    unittest.main()
