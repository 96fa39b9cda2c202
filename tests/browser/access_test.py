# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""The page for eyes, keys and screen readers."""
import os
import pathlib
import unittest

from selenium.webdriver import ActionChains
from selenium.webdriver.common.keys import Keys

from case import PageCase
from page import NARROW, WIDE
from phone import equals, until

AXE = pathlib.Path(os.environ["AXE"]).read_text(encoding="utf-8")
JUDGE = """
const done = arguments[0];
axe.run(document, {resultTypes: ["violations"]}).then(found => done(found.violations.map(
    rule => [rule.id, ...rule.nodes.slice(0, 3).map(node => `${node.target}: ${node.failureSummary}`)].join("; "))));
"""
# No way through the page is longer.
MOST_TABS = 400


class AccessTest(PageCase):
    def judge(self):
        self.page.script(AXE)
        return self.page.browser.execute_async_script(JUDGE)

    def choose_theme(self, name):
        self.page.script("""
            const theme = document.getElementById("theme");
            theme.value = arguments[0];
            theme.dispatchEvent(new Event("change", {bubbles: true}));""", name)

    def background(self):
        return self.page.script("return getComputedStyle(document.body).backgroundColor")

    def test_the_checker_finds_nothing(self):
        self.phone.client("power", "on")
        self.phone.client("sub", "test-pattern")
        self.phone.ctl("fault", "on AT%SWV late 1ms")
        self.phone.client("at", "AT%SWV")
        for size, shape in ((WIDE, "wide"), (NARROW, "narrow")):
            self.page.size(*size)
            for theme in ("light", "dark"):
                self.choose_theme(theme)
                for tab in self.page.find_all("[role=tab]"):
                    self.page.script("arguments[0].click()", tab)
                    with self.subTest(shape=shape, theme=theme, tab=tab.text):
                        self.assertEqual(self.judge(), [])
                self.page.script("scrollTo(0, 0)")
                self.page.shoot(f"{theme}-{shape}")
        self.phone.ctl("fault", "--clear")

    def test_the_checker_finds_nothing_of_a_cover_that_is_off_and_of_a_phone_that_has_ended(self):
        self.phone.ctl("detach")
        equals(lambda: self.page.data("cover", "attached"), "false")
        self.assertEqual(self.judge(), [])
        self.phone.attach()

    def test_a_phones_screen_holds_the_page_without_scrolling_sideways(self):
        self.page.size(*NARROW)
        equals(lambda: self.page.script("return document.documentElement.scrollWidth"), NARROW[0])

    def test_no_group_of_actions_is_out_of_sight(self):
        for size in (WIDE, NARROW):
            self.page.size(*size)
            wide, seen = self.page.script("""
                const {scrollWidth, clientWidth} = document.getElementById("action-tabs");
                return [scrollWidth, clientWidth];""")
            self.assertEqual(wide, seen)

    def test_the_theme_is_the_machines_or_the_readers(self):
        self.choose_theme("auto")
        shades = {}
        for scheme in ("dark", "light"):
            self.page.scheme(scheme)
            self.page.open()
            shades[scheme] = self.background()
        self.assertNotEqual(shades["dark"], shades["light"])
        for theme in ("dark", "light"):
            self.choose_theme(theme)
            equals(self.background, shades[theme])
        self.choose_theme("dark")
        self.page.open()
        equals(self.background, shades["dark"])
        self.choose_theme("auto")

    def keys(self, *keys):
        ActionChains(self.page.browser).send_keys(*keys).perform()

    def focused(self):
        return self.page.browser.switch_to.active_element

    def tab_to(self, matches):
        """Tabs on until an element matches; every stop on the way has a name and shows that it has the focus."""
        for _ in range(MOST_TABS):
            self.keys(Keys.TAB)
            element = self.focused()
            if element.tag_name == "body":
                continue
            self.assertTrue(element.accessible_name, element.get_attribute("outerHTML")[:200])
            self.assertNotEqual(self.page.script("""
                const style = getComputedStyle(arguments[0]);
                return `${style.outlineStyle} ${style.boxShadow}`;""", element), "none none",
                element.get_attribute("outerHTML")[:200])
            if matches(element):
                return element
        raise AssertionError("no such element on the way")

    def test_keys_alone_lead_from_the_plug_to_a_picture_and_a_fault(self):
        self.phone.ctl("detach")
        equals(lambda: self.page.data("cover", "attached"), "false")
        begun = self.phone.log.stat().st_size
        has_id = lambda name: lambda element: element.get_attribute("id") == name
        self.tab_to(has_id("plug"))
        self.keys(Keys.ENTER)
        equals(lambda: self.page.data("cover", "attached"), "true")
        self.phone.dealt(begun)
        self.phone.client("sub", "show", "docs/hills.png")
        until(lambda: self.phone.state()["sub_display"]["frames"], "the picture")
        # The link leads into the fault's field.
        self.tab_to(lambda element: "Add a fault" in element.accessible_name)
        self.keys(Keys.ENTER)
        equals(lambda: self.focused().get_attribute("name"), "text")
        self.keys("on AT%SWV error times 1", Keys.ENTER)
        equals(lambda: self.phone.state()["faults"], ["on AT%SWV error times 1"])
        until(lambda: "AT%SWV error" in self.page.text("faults"), "the fault")
        self.phone.shell("bivistactl at AT%SWV; true")
        equals(lambda: self.phone.state()["faults"], [])
        # Where it struck: by search and keys to its bytes.
        self.page.open()
        self.tab_to(has_id("search"))
        self.keys("AT%SWV")
        self.tab_to(has_id("timeline-list"))
        until(lambda: all("AT%SWV" in " ".join(row) for row in self.page.rows()), "the search")
        self.keys(Keys.END, Keys.ENTER)
        until(lambda: "AT%SWV" in self.page.text("item"), "the bytes")
        self.page.shoot("keys")


if __name__ == "__main__":
    unittest.main()
