# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""The cover on the page is the cover of the emulator."""
import unittest

from selenium.webdriver import ActionChains
from selenium.webdriver.common.keys import Keys

from case import PageCase
from page import numbers
from phone import equals, until

# The canvas, row by row: the pixels' red, green, blue and opacity.
PANEL = """
const canvas = document.getElementById("sub-display");
const {data} = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height);
const rows = [];
for (let at = 0; at < data.length; at += 4 * canvas.width) rows.push(Array.from(data.slice(at, at + 4 * canvas.width)));
return rows;
"""


class CoverTest(PageCase):
    def screen(self):
        element = self.page.find("cover-screen")
        if element.get_attribute("data-on") != "true":
            return {"on": False}
        fill = self.page.script("return getComputedStyle(document.getElementById('tint')).fill")
        return {"on": True, "colour": numbers(fill), "mode": int(element.get_attribute("data-mode")),
                "brightness": int(element.get_attribute("data-brightness")),
                **{name: numbers(element.get_attribute(f"data-{name}")) for name in ("rgb", "tune")}}

    def same_screen(self):
        equals(self.screen, lambda: self.phone.state()["screen"])

    def same_panel(self):
        grey = lambda level: [17 * level, 17 * level, 17 * level, 255]
        wanted = lambda: [sum(map(grey, line), []) for line in self.phone.levels()]
        until(lambda: self.page.script(PANEL) == wanted(), "the panel's pixels")

    def test_the_screen_is_dark_or_lit_with_its_brightness_and_colours(self):
        self.phone.client("power", "off")
        self.same_screen()
        self.assertEqual(self.screen(), {"on": False})
        dark = sum(self.page.colour("cover-screen"))
        self.page.shoot("off")
        self.phone.client("power", "on")
        seen = []
        for words in (("brightness", "40"), ("brightness", "255"), ("colour", "rgb", "1", "200", "40", "20"),
                      ("colour", "tune", "9", "2", "1"), ("colour", "mode", "MODE_1"), ("colour", "mode", "MODE_3")):
            self.phone.client(*words)
            until(lambda: self.phone.state()["screen"]["on"])
            self.same_screen()
            seen.append((self.screen(), self.page.colour("cover-screen")))
        self.assertGreater(sum(seen[0][1]), dark)
        self.assertGreater(sum(seen[1][1]), sum(seen[0][1]))
        self.assertEqual(len({str(screen) for screen, _ in seen}), len(seen), seen)
        self.assertEqual(len({str(colour) for _, colour in seen}), len(seen), seen)
        self.page.shoot("lit")
        self.phone.client("power", "off")
        self.same_screen()

    def test_the_cutout_is_the_one_that_the_cover_describes(self):
        cutout = lambda: self.page.data("cutout", "path")
        equals(cutout, self.phone.state()["cutout"])
        other = "M 0,0 H -50 V 40 H 50 V 0 H 0 Z"
        self.phone.ctl("cover", "--cutout", other)
        self.assertEqual(self.phone.state()["cutout"], other)
        equals(cutout, other)
        self.assertEqual(self.page.script("""
            const {x, y, width, height} = document.getElementById("cutout").getBBox();
            return [x, y, width, height];"""), [-50, 0, 100, 40])

    def test_the_sub_display_has_every_pixel_of_the_panel(self):
        frames = lambda: self.phone.state()["sub_display"]["frames"]
        seen = set()
        for words in (("test-pattern",), ("clear",), ("show", "docs/hills.png")):
            before = frames()
            self.phone.client("sub", *words)
            until(lambda drawn=before: frames() > drawn, "a frame")
            self.same_panel()
            seen.add(str(self.phone.levels()))
        self.assertEqual(len(seen), 3)
        self.page.shoot("drawing")

    def test_the_sub_display_has_its_size_and_brightness(self):
        def panel():
            element = self.page.find("sub-display")
            return {name: element.get_attribute(f"data-{name}") for name in ("on", "brightness", "width", "height")}
        state = lambda: {name: str(value).lower() for name, value in self.phone.state()["sub_display"].items()
                         if name in ("on", "brightness", "width", "height")}
        self.phone.client("sub", "test-pattern")
        shades = []
        for level in ("255", "60"):
            self.phone.client("sub", "brightness", level)
            until(lambda wanted=level: state()["brightness"] == wanted)
            equals(panel, state)
            shades.append(sum(self.page.colour("sub-display")))
        self.assertGreater(shades[0], shades[1])
        self.phone.ctl("subdisplay", "--width", "96", "--height", "40")
        equals(panel, state)
        self.assertEqual(panel()["width"], "96")
        self.phone.reset()
        equals(panel, state)

    def test_an_upgrade_shows_its_progress_and_goes_when_it_is_over(self):
        begun = self.phone.log.stat().st_size
        self.phone.ctl("firmware", "put", "BV330-V20k_20220101.dfu")
        self.phone.ctl("cover", "--upgrade-ms", "3000")
        self.phone.client("firmware", "check")
        bar = self.page.find("upgrade")
        now = lambda: bar.is_displayed() and float(bar.get_attribute("aria-valuenow") or 0)
        until(lambda: now() > 20, "progress")
        planned = self.phone.state()["upgrade"]
        self.assertEqual(planned["phase"], "writing")
        self.assertIn("V20k", f"{planned['version']}")
        self.page.shoot("upgrading")
        until(lambda: now() > 60, "more progress")
        until(lambda: not self.phone.state()["upgrade"], "the upgrade's end")
        until(lambda: not now(), "no progress")
        self.phone.dealt(begun)
        self.phone.ctl("firmware", "clear")

    def test_the_loader_shows_its_state(self):
        empty, begun = self.page.text("loader"), self.phone.log.stat().st_size
        self.phone.ctl("loader", "error")
        until(lambda: self.phone.state()["loader"])
        until(lambda: self.page.text("loader") != empty, "the loader")
        self.phone.ctl("loader", "leave")
        equals(lambda: self.page.text("loader"), empty)
        self.phone.dealt(begun)

    def changes(self, act):
        """Does it twice: it pulls the cover off, then puts it back."""
        for wanted in (False, True):
            begun = self.phone.log.stat().st_size
            self.page.rest()
            act(wanted)
            until(lambda: self.phone.state()["attached"] == wanted, f"attached: {wanted}")
            equals(lambda: self.page.data("cover", "attached"), str(wanted).lower())
            if wanted:
                self.phone.dealt(begun)

    def test_a_button_pulls_the_cover_off_and_puts_it_back(self):
        button, seen = self.page.find("plug"), []
        def click(_):
            seen.append(button.text)
            button.click()
        self.changes(click)
        self.assertNotEqual(*seen)
        equals(lambda: button.text, seen[0])

    def test_the_mouse_pulls_the_cover_off_and_puts_it_back(self):
        self.changes(lambda _: ActionChains(self.page.browser).drag_and_drop_by_offset(
            self.page.find("cover"), 150, 50).perform())

    def test_a_cover_that_is_off_shows_nothing(self):
        self.phone.client("power", "on")
        self.phone.ctl("detach")
        equals(lambda: self.page.data("cover", "attached"), "false")
        self.assertEqual(self.screen(), {"on": False})
        self.assertEqual(self.page.data("sub-display", "on"), "false")
        self.page.shoot("detached")

    def test_a_drag_that_goes_nowhere_leaves_the_cover_alone(self):
        before = len(self.phone.journal(kind="detach"))
        ActionChains(self.page.browser).drag_and_drop_by_offset(self.page.find("cover"), 3, 2).perform()
        self.phone.ctl("fault", "on AT%SWV silent times 1")
        until(lambda: "silent" in self.page.text("faults"), "what came later")
        self.phone.ctl("fault", "--clear")
        self.assertEqual(len(self.phone.journal(kind="detach")), before)

    def test_keys_pull_the_cover_off_and_put_it_back(self):
        for key in (Keys.ENTER, Keys.SPACE):
            self.changes(lambda _, pressed=key: self.page.find("cover").send_keys(pressed))


if __name__ == "__main__":
    unittest.main()
