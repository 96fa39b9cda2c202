# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of rewrite.py."""
import unittest

import rewrite

TAG = rewrite.TAG


def host(*texts):
    """Lines of a host's log, a millisecond from one to the next."""
    return [b"%s D 11-22 20:28:32.%03d 28700 28701 %s\n" % (TAG, number, text)
            for number, text in enumerate(texts)]


def phone(lines, **options):
    return b"".join(rewrite.rewrite(lines, **options)).decode().splitlines()


class RewriteTest(unittest.TestCase):
    def test_a_line_gets_the_header_of_a_phone(self):
        self.assertEqual(phone(host(b"a"))[1], f"08-14 09:21:07.000   731   738 D {TAG.decode()}: a")

    def test_each_line_of_a_message_gets_one_but_its_line_end(self):
        lines = phone(host(b"a\nb\n"))
        self.assertEqual([line.rsplit(": ", 1)[1] for line in lines if TAG.decode() in line], ["a", "b"])

    def test_pointers_are_as_the_phone_has_them(self):
        line = phone(host(b"resp:(nil) cb:0x555747de7ee0"))[1]
        self.assertTrue(line.endswith("resp:0x0 cb:0x7c5e40d2f8"), line)

    def test_the_first_thread_has_the_number_of_its_process(self):
        lines = phone([line.replace(b"28701 ", b"28700 ") if line.endswith(b"main\n") else line
                       for line in host(b"other", b"main")])
        self.assertIn(" 731   738 D", lines[1])
        self.assertIn(" 731   731 D", lines[2])

    def test_others_stand_among_them(self):
        lines = phone(host(*[b"a"] * 8))
        self.assertEqual(sum("clockd" in line for line in lines), 1)

    def test_a_rotated_log_begins_later(self):
        lines = phone(host(b"a", b"b", b"c"), rotate=b"b")
        self.assertEqual([line[-1] for line in lines if TAG.decode() in line], ["b", "c"])
        self.assertIn("09:21:07.000", lines[1])

    def test_what_expired_is_a_remark(self):
        lines = phone(host(b"a", b"b", b"c", b"d"), gap=(b"b", b"c"))
        self.assertEqual([line[-1] for line in lines if TAG.decode() in line], ["a", "d"])
        self.assertTrue(any(line.endswith("chatty  : uid=1000(system) vendor.qmx.har expire 2 lines")
                            for line in lines), lines)


if __name__ == "__main__":
    unittest.main()
