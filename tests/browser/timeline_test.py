# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""The timeline and the charts of the page show what the journal has."""
import json
import unittest

from selenium.webdriver import ActionChains

import trace_events
from case import PageCase
from page import numbers
from phone import EMPTY, equals, until

LANES = ("at", "panel", "nodes", "uevents", "usb", "calls", "emulator")
# Where the first of them is in its picture, in pixels.
FIRST_LANE = 36
# A late answer is longer than what the page, the machine's load and a rounding add to it.
LATE_MS = 300


def duration(us):
    """As the page writes one."""
    if us < 1000:
        return f"{us} µs"
    return f"{us / 1000:.{2 if us < 10000 else 1}f} ms" if us < 1000000 else f"{us / 1000000:.2f} s"


class TimelineTest(PageCase):
    def only(self, lane):
        """Leaves out all other lanes."""
        for other in LANES:
            box = self.page.find(f"filter-{other}")
            if box.is_selected() != (other == lane):
                box.click()
        until(lambda: {row[0] for row in self.page.rows()} == {lane}, f"only {lane}")

    def exchanges(self, command):
        """The journal's entries of each exchange with this command."""
        found, going = [], None
        for entry in self.phone.journal():
            if (entry["kind"], entry["bytes"]) == ("tty-rx", f"{command}\\r"):
                going = []
                found.append(going)
            if going is not None and entry["kind"] in ("tty-rx", "tty-tx"):
                going.append(entry)
                if entry["bytes"].endswith(("OK\\r\\n", "ERROR\\r\\n")):
                    going = None
        return found

    def test_an_exchange_is_one_bar_and_a_click_shows_its_bytes(self):
        self.phone.client("at", "AT%SWV")
        exchange = self.exchanges("AT%SWV")[-1]
        self.page.search("AT%SWV")
        # The client's call has the command, too.
        self.only("at")
        row = self.page.rows()[-1]
        self.assertEqual(row[3], "AT%SWV")
        self.assertIn(self.phone.state()["cover"]["version"], row[4])
        self.assertEqual(row[5:], [duration(exchange[-1]["time_us"] - exchange[0]["time_us"]), "OK"])
        self.page.click_row(-1)
        shown = lambda: [code.text for code in self.page.find_all("#item td code")]
        equals(shown, [entry["bytes"] for entry in exchange])
        self.page.shoot("exchange")

    def test_a_bar_of_the_lanes_can_be_clicked(self):
        self.phone.ctl("fault", f"on AT%SWV late {LATE_MS}ms times 1")
        self.phone.client("at", "AT%SWV")
        self.page.search("AT%SWV")
        self.only("at")
        self.page.find("zoom-all").click()
        exchange = self.exchanges("AT%SWV")[-1]
        lasted = duration(exchange[-1]["time_us"] - exchange[0]["time_us"])
        canvas = self.page.find("timeline")
        self.page.script("arguments[0].scrollIntoView({block: 'center'})", canvas)
        self.assertIn("Choose an item", self.page.text("item"))
        # From the left to the right through the first lane.
        for across in range(3 - canvas.size["width"] // 2, canvas.size["width"] // 2, 5):
            mouse = ActionChains(self.page.browser, duration=0)
            mouse.move_to_element_with_offset(canvas, across, FIRST_LANE - canvas.size["height"] // 2).click().perform()
            if lasted in self.page.text("item"):
                return
        self.fail(self.page.text("item"))

    def test_a_fault_stands_where_it_struck(self):
        self.phone.ctl("fault", "on AT%GETBVCUTOUT late 1ms times 1")
        self.phone.client("at", "AT%GETBVCUTOUT")
        struck = until(lambda: self.phone.journal(kind="fault-met"))[-1]
        self.page.search("AT%GETBVCUTOUT")
        until(lambda: any(row[0] == "at" and "fault" in row[6] for row in self.page.rows()), "the fault")
        row = next(row for row in self.page.rows() if row[0] == "at" and "fault" in row[6])
        exchange = self.exchanges("AT%GETBVCUTOUT")[-1]
        self.assertEqual(row[1], f"{exchange[0]['time_us'] / 1000000:.3f}")
        self.assertLessEqual(exchange[0]["time_us"], struck["time_us"])

    def test_a_clients_call_a_frame_and_a_nodes_write_have_their_lanes(self):
        for words in (("power", "on"), ("brightness", "77"), ("power", "off")):
            self.phone.client(*words)
        self.phone.client("sub", "test-pattern")
        until(lambda: self.phone.state()["sub_display"]["frames"])
        for text, lane in (("setBrightness(77", "calls"), ("frame", "panel"), ("bv2_pd", "nodes"), ("AT%DB=", "at"),
                           ("attach", "usb")):
            self.page.search(text)
            until(lambda wanted=lane: wanted in {row[0] for row in self.page.rows()}, f"{text} in {lane}")
        self.page.search("setBrightness(77")
        call = self.phone.journal(kind="client-call", path="IBivista.setBrightness")[-1]
        self.assertEqual((call["bytes"], call["note"]), ("[77]", r'[\"OK\"]'))
        self.assertEqual(self.page.rows()[-1][5:], [duration(call["duration_us"]), "OK"])

    def test_a_lane_can_be_left_out(self):
        self.phone.ctl("mark", "of the emulator")
        self.phone.ctl("gesture", "WAKEUP")
        self.assertEqual([box.get_attribute("id") for box in self.page.find_all("#filters input")],
                         [f"filter-{lane}" for lane in LANES])
        for lane in LANES:
            self.page.find(f"filter-{lane}").click()
        equals(self.page.rows, [])
        for lane in LANES:
            self.page.find(f"filter-{lane}").click()
            until(lambda only=lane: {row[0] for row in self.page.rows()} <= {only}, lane)
            if lane != "panel":
                until(self.page.rows, lane)
            self.page.find(f"filter-{lane}").click()

    def test_a_page_that_is_paused_shows_what_came_meanwhile_when_it_goes_on(self):
        self.page.search("remark")
        self.phone.ctl("mark", "remark before")
        remarks = lambda: [row[3] for row in self.page.rows() if row[2] == "Emulator"]
        until(lambda: any("remark before" in remark for remark in remarks()), "the remark")
        pause = self.page.find("pause")
        pause.click()
        self.assertEqual(pause.get_attribute("aria-pressed"), "true")
        self.phone.ctl("mark", "remark meanwhile")
        until(lambda: "new" in pause.text, "what is held")
        self.assertFalse(any("meanwhile" in remark for remark in remarks()))
        pause.click()
        until(lambda: any("remark meanwhile" in remark for remark in remarks()), "the rest")
        self.assertEqual(pause.text, "Pause")

    def picture_after(self, button):
        """Clicks, and returns the lanes as they are drawn next."""
        self.page.find(button).click()
        return self.page.browser.execute_async_script("""
            const [done] = arguments;
            const canvas = document.getElementById("timeline");
            requestAnimationFrame(() => requestAnimationFrame(() => done(canvas.toDataURL())));""")

    def test_zoom_shows_less_and_more_and_all(self):
        # What came last is not to move the lanes.
        self.page.find("pause").click()
        whole = self.picture_after("zoom-all")
        half, quarter = self.picture_after("zoom-in"), self.picture_after("zoom-in")
        self.assertEqual(len({whole, half, quarter}), 3)
        self.assertNotEqual(self.picture_after("zoom-out"), quarter)
        self.assertEqual(self.picture_after("zoom-all"), whole)

    def download(self, button):
        """Clicks, and returns the text of the file that comes."""
        folder = self.page.browser.downloads
        for old in folder.iterdir():
            old.unlink()
        self.page.find(button).click()
        # Until it is whole, Chromium has an empty file of that name, and another one of another kind.
        until(lambda: [path.suffix in (".json", ".jsonl") and path.stat().st_size > 0
                       for path in folder.iterdir()] == [True], "a download")
        file = next(folder.iterdir())
        self.addCleanup(file.unlink, missing_ok=True)
        return file.read_text(encoding="utf-8")

    def test_the_journal_is_exported_line_by_line(self):
        lines = [{**EMPTY, **json.loads(line)} for line in self.download("export-journal").splitlines()]
        self.assertEqual(lines, self.phone.journal()[:len(lines)])
        self.assertGreater(len(lines), 20)

    def test_the_trace_keeps_to_the_format_and_has_all_on_one_clock(self):
        # Calls that overlap are on tracks of their own.
        self.phone.shell("for client in 1 2 3; do bivistactl at AT%SWV & bivistactl sub test-pattern & done; wait")
        self.phone.client("brightness", "30")
        until(lambda: self.phone.journal(kind="tty-rx", bytes="AT%DB=30\\r"))
        until(lambda: self.phone.state()["sub_display"]["frames"])
        trace = json.loads(self.download("export-perfetto"))
        self.assertEqual(trace_events.judge(trace), [])
        tracks = trace_events.tracks(trace)
        journal = self.phone.journal()
        begins = {entry["time_us"] for entry in journal}
        timed = [event for event in trace["traceEvents"] if event["ph"] in "Xi"]
        self.assertEqual([event for event in timed if event["ts"] not in begins], [])
        named = lambda text: [(tracks[event["tid"]], event["ph"]) for event in timed if text in event["name"]]
        self.assertTrue(named("attach"))
        self.assertIn("X", {phase for _, phase in named("AT%SWV")})
        self.assertIn("X", {phase for _, phase in named("frame")})
        self.assertIn("X", {phase for _, phase in named("sendAtCommand")})
        counters = {event["name"] for event in trace["traceEvents"] if event["ph"] == "C"}
        self.assertEqual(counters, {"cover brightness", "sub display brightness", "commands waiting", "USB votes"})

    def table(self, name):
        return self.page.script("""
            return Array.from(document.querySelectorAll(`#table-${arguments[0]} tr`),
                              row => Array.from(row.children, cell => cell.textContent));""", name)

    def test_the_charts_have_what_the_journal_has(self):
        self.phone.client("power", "on")
        for level in range(0, 100, 10):
            self.phone.client("brightness", str(level))
            until(lambda wanted=level: self.phone.state()["screen"]["brightness"] == wanted)
        for _ in range(5):
            self.phone.client("at", "AT%SWV")
        times = sorted(exchange[-1]["time_us"] - exchange[0]["time_us"] for exchange in self.exchanges("AT%SWV"))
        def shown():
            rows = [row for row in self.table("durations") if row[0] == "AT%SWV"]
            return [float(number) for number in rows[0][1:]] if rows else None
        until(lambda: shown() and shown()[0] == len(times), "the exchanges")
        _, median, p99 = shown()
        # The page leaves out what nobody reads of a long one.
        for told, us in ((median, times[len(times) // 2]), (p99, times[-1])):
            self.assertAlmostEqual(told, us / 1000, delta=max(0.006, us / 1000 / 200))
        until(lambda: numbers(self.table("brightness")[-1][-1])[-1:] == [90], "the brightness")
        self.phone.client("sub", "test-pattern")
        until(lambda: len(self.table("frames")) > 1, "a frame")
        for chart in ("durations", "frames", "brightness"):
            self.assertTrue(self.page.find_all(f"#chart-{chart}"))
        self.page.script("document.getElementById('charts').scrollIntoView()")
        self.page.shoot("charts")
        self.phone.client("power", "off")


if __name__ == "__main__":
    unittest.main()
