# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Several at once, ends and returns, what is old, and what is hostile."""
import contextlib
import unittest

from case import PageCase
from page import Page, shared_browser
from phone import equals, until

HOSTILE = '<img src=x onerror="window.entered=1"><script>window.entered=1</script><b id=entered>"\'&amp;'


class LifeTest(PageCase):
    @contextlib.contextmanager
    def second_page(self):
        """The page once more, in a tab of its own that is closed at the end."""
        first = self.page.browser.current_window_handle
        self.page.browser.switch_to.new_window("tab")
        second = self.page.browser.current_window_handle
        try:
            yield Page(self.phone), lambda handle: self.page.browser.switch_to.window(handle), first, second
        finally:
            self.page.browser.switch_to.window(second)
            self.page.browser.close()
            self.page.browser.switch_to.window(first)

    def test_two_pages_and_ctl_say_the_same(self):
        off = lambda: self.page.data("cover", "attached")
        with self.second_page() as (page, switch, first, second):
            page.find("plug").click()
            equals(lambda: self.phone.state()["attached"], False)
            for handle in (first, second):
                switch(handle)
                equals(off, "false")
            self.phone.attach()
            for handle in (second, first):
                switch(handle)
                equals(off, "true")
            self.phone.ctl("fault", "on AT%SWV silent times 3")
            for handle in (first, second):
                switch(handle)
                until(lambda: "AT%SWV silent" in self.page.text("faults"), "the fault")
            self.phone.ctl("fault", "--clear")
            for handle in (first, second):
                switch(handle)
                until(lambda: "AT%SWV" not in self.page.text("faults"), "no fault")

    def test_a_text_that_looks_like_html_stays_text(self):
        self.phone.ctl("mark", HOSTILE)
        self.phone.ctl("property", "hostile", HOSTILE)
        self.phone.ctl("fault", f'on AT%HTML answer "{HOSTILE[:11]}"')
        self.page.search("onerror")
        until(lambda: HOSTILE in [row[3] for row in self.page.rows()], "the remark")
        until(lambda: HOSTILE[:11] in self.page.text("faults"), "the fault")
        self.page.click_row(-1)
        until(lambda: "onerror" in self.page.text("item"), "the item")
        self.assertIsNone(self.page.script("return window.entered"))
        self.assertEqual(self.page.find_all("[id=entered]"), [])
        self.assertEqual(self.page.find_all("img[src=x]"), [])
        self.phone.ctl("fault", "--clear")
        self.phone.ctl("property", "--clear")

    def test_a_page_that_sends_nonsense_gets_one_clear_message(self):
        send = """
            const [body, done] = arguments;
            fetch("request", {method: "POST", headers: {"Content-Type": "application/json"}, body})
                .then(async answer => done([answer.status, await answer.text()]));"""
        for body, status in (("{", 400), ("[]", 400), ('{"method":"PUT","path":"/v1/nothing","values":{}}', 400),
                             ('{"method":"PUT","path":"/v1/subdisplay","values":{"width":"x"}}', 400),
                             ('{"method":"PUT","path":"/v1/subdisplay","values":{"unheard":1}}', 400)):
            answered, text = self.page.browser.execute_async_script(send, body)
            self.assertEqual(answered, status, text)
            self.assertRegex(text, r'^\{"error":"[^\n]+"\}\n?$')
        # The browser itself tells of each refusal.
        self.assertEqual(len(self.page.complaints()), 5)

    def test_an_emulator_that_ends_is_told_and_the_next_one_is_shown(self):
        self.phone.ctl("mark", "of the first")
        self.phone.end_emulator()
        until(lambda: self.status() == "bad", "the end")
        self.assertIn("ended", self.page.text("status"))
        self.page.shoot("ended")
        self.phone.start()
        until(lambda: self.status() == "ok", "the next one")
        equals(lambda: self.page.data("cover", "attached"), "true")
        self.page.search("of the first")
        equals(self.page.rows, [])

    def status(self):
        return self.page.find("status").get_attribute("data-kind")

    def test_a_page_whose_program_is_gone_says_so(self):
        self.phone.end_page()
        until(lambda: self.status() == "wait", "the end")
        self.assertIn("does not answer", self.page.text("status"))
        self.page.find("plug").click()
        until(lambda: "does not answer" in self.page.text("plug-answer"), "a message")
        self.phone.serve()
        # The browser itself tells of connections that are refused.
        self.page.complaints()

    def test_an_old_page_says_where_the_new_program_is(self):
        self.phone.end_page()
        self.phone.serve("--port", str(self.phone.port))
        until(lambda: self.status() == "bad", "a refusal")
        for place in ("status", "plug-answer"):
            until(lambda where=place: "open the address that it prints now" in self.page.text(where), place)
            self.page.find("plug").click()
        self.assertTrue(self.phone.state()["attached"])
        self.page.open()
        self.assertEqual(self.status(), "ok")
        # The browser itself tells of what is refused.
        self.page.complaints()

    def test_a_browser_that_goes_away_in_mid_answer_harms_nobody(self):
        browser = shared_browser()
        for _ in range(10):
            browser.get(self.phone.address)
            browser.get("about:blank")
        self.page.open()
        self.assertEqual(self.status(), "ok")


if __name__ == "__main__":
    unittest.main()
