# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""What the tests of the page begin with: a phone for each class, its page opened for each test."""
import unittest

from page import Page
from phone import Phone


class PageCase(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.phone = Phone()
        cls.addClassCleanup(cls.phone.end)
        cls.phone.start().serve()

    def setUp(self):
        if not self.phone.state()["attached"]:
            self.phone.attach()
        self.page = Page(self.phone)
        self.page.complaints()
        self.addCleanup(lambda: self.assertEqual(self.page.complaints(), []))
