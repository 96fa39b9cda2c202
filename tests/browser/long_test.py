# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""A long journal: how soon it is there, how smoothly it scrolls, and that nothing of it is lost."""
import unittest

from case import PageCase
from page import SHOTS, Page
from phone import until

MANY, MOST = 100_000, 200_000
BURST = 10_000
# What a person may have to wait, in seconds, and what still looks like motion, in frames a second.
LONGEST_LOAD, LEAST_FRAMES = 3, 30
TRIES = 3
# Seconds from the navigation until all of them are there and painted.
LOADED = """
const [least, done] = arguments;
const look = () => window.bivista?.items >= least ? requestAnimationFrame(() => done(performance.now() / 1000))
                                                  : setTimeout(look, 5);
look();
"""
# Frames a second while the list, or the lanes by the wheel, move for two seconds.
SCROLLED = """
const [id, done] = arguments;
const element = document.getElementById(id);
const times = [];
const step = now => {
    times.push(now);
    const part = (now - times[0]) / 2000;
    if (element.tagName === "CANVAS") {
        element.dispatchEvent(new WheelEvent("wheel", {deltaX: 40, bubbles: true, cancelable: true}));
    } else {
        element.scrollTop = part * (element.scrollHeight - element.clientHeight);
    }
    if (part < 1) requestAnimationFrame(step);
    else done([(times.length - 1) * 1000 / (times.at(-1) - times[0]), element.scrollTop, window.bivista.fps()]);
};
element.scrollIntoView({block: "center"});
requestAnimationFrame(step);
"""


class LongTest(PageCase):
    def fill(self, entries):
        for _ in range(entries // BURST):
            self.phone.ctl("uevent", "change@/devices/virtual/x\\x00", "--burst", str(BURST))

    def test_many_entries_come_soon_and_scroll_smoothly(self):
        self.fill(MANY)
        loads, frames, figures = [], [], []
        for _ in range(TRIES):
            self.page.browser.get("about:blank")
            self.page.browser.get(self.phone.address)
            loads.append(self.page.browser.execute_async_script(LOADED, MANY))
        for element in ("timeline-list", "timeline"):
            rates = [self.page.browser.execute_async_script(SCROLLED, element) for _ in range(TRIES)]
            frames.append(max(rate for rate, *_ in rates))
            figures.append(f"{MANY} entries in {element}: {min(rate for rate, *_ in rates):.0f} to {frames[-1]:.0f} "
                           f"frames a second; by the page {rates[-1][2]:.0f}\n")
        figures.append(f"{MANY} entries: loaded in {min(loads):.2f} to {max(loads):.2f} s\n")
        self.page.shoot("long")
        (SHOTS / "figures.txt").write_text("".join(figures), encoding="utf-8")
        self.assertLess(min(loads), LONGEST_LOAD)
        self.assertGreater(min(frames), LEAST_FRAMES)

    def test_the_longest_journal_stays_whole_and_live(self):
        self.fill(MOST)
        self.phone.ctl("mark", "the last of many")
        page = Page(self.phone)
        until(lambda: page.script("return window.bivista.items") >= MOST - BURST, "all items")
        page.search("the last of many")
        until(page.rows, "the last one")
        self.assertLessEqual(page.script("return window.bivista.items"), MOST + BURST)


if __name__ == "__main__":
    unittest.main()
