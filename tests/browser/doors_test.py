# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Pages of other origins, and names that lead here, get nothing, even where they know the whole address."""
import http.client
import http.server
import threading
import unittest

from case import PageCase
from page import Page, shared_browser, start_browser
from phone import ask, equals

# What each way of getting in came to. The form, the script and the frame are in the page.
BREAK_IN = """
const [address, done] = arguments;
const outcome = {};
const order = {method: "POST", body: JSON.stringify({method: "POST", path: "/v1/detach", values: {}})};
const json = {...order, headers: {"Content-Type": "application/json"}};
const answered = name => answer => { outcome[name] = `answered ${answer.type}`; };
const refused = name => () => { outcome[name] = "refused"; };
const script = new Promise(end => {
    const element = document.createElement("script");
    element.onload = () => { outcome.script = "loaded"; end(); };
    element.onerror = () => { outcome.script = "refused"; end(); };
    element.src = address + "page.js";
    document.body.append(element);
});
const events = new Promise(end => {
    const source = new EventSource(address + "events");
    source.onopen = () => { outcome.events = "opened"; source.close(); end(); };
    source.onerror = () => { outcome.events = "refused"; source.close(); end(); };
});
Promise.all([
    fetch(address + "abilities").then(answered("read"), refused("read")),
    fetch(address + "abilities", {mode: "no-cors"}).then(answered("blind read"), refused("blind read")),
    fetch(address + "request", json).then(answered("order"), refused("order")),
    fetch(address + "request", {...order, mode: "no-cors"}).then(answered("blind order"), refused("blind order")),
    script, events]).then(() => done(outcome));
"""
FORM = """
const form = document.createElement("form");
[form.method, form.enctype, form.action] = ["POST", "text/plain", arguments[0] + "request"];
const field = document.createElement("input");
field.name = '{"method":"POST","path":"/v1/detach","values":{"unread":"lost"},"rest":"';
field.value = '"}';
form.append(field);
document.body.append(form);
form.submit();
"""
FRAME = """
const [address, done] = arguments;
const frame = document.createElement("iframe");
frame.onload = () => { let seen; try { seen = frame.contentDocument; } catch { seen = null; } done(seen === null); };
frame.src = address;
document.body.append(frame);
"""


class Stranger(http.server.BaseHTTPRequestHandler):
    """A page of another origin."""

    def do_GET(self):
        self.send_response(200)
        self.send_header("Content-Type", "text/html")
        self.end_headers()
        self.wfile.write(b"<!doctype html><title>elsewhere</title>")

    def log_message(self, *_):
        pass


class DoorsTest(PageCase):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Stranger)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        cls.addClassCleanup(server.server_close)
        cls.addClassCleanup(server.shutdown)
        cls.elsewhere = f"http://127.0.0.1:{server.server_port}/"

    def setUp(self):
        # No page of ours; what is refused stands in the console.
        self.browser = shared_browser()
        self.browser.get(self.elsewhere)
        self.before = self.phone.state()
        self.addCleanup(self.browser.get_log, "browser")

    def nothing_changed(self):
        self.assertEqual(self.phone.journal(kind="detach"), [])
        self.assertEqual(self.phone.journal(kind="control"), [])
        self.assertTrue(self.phone.state()["attached"])

    def test_a_page_of_another_origin_reads_nothing_and_orders_nothing(self):
        outcome = self.browser.execute_async_script(BREAK_IN, self.phone.address)
        # An answer that the stranger cannot read is a refusal, too: its text is "Origin is not ours".
        self.assertEqual(outcome.pop("blind order"), "refused")
        self.assertEqual(outcome, dict.fromkeys(("read", "blind read", "order", "script", "events"), "refused"))
        self.nothing_changed()

    def test_a_form_of_another_origin_is_refused(self):
        self.browser.execute_script(FORM, self.phone.address)
        equals(lambda: self.browser.current_url, self.phone.address + "request")
        self.assertNotIn("{}", self.browser.page_source)
        self.nothing_changed()

    def test_a_frame_of_another_origin_stays_empty(self):
        self.assertTrue(self.browser.execute_async_script(FRAME, self.phone.address))
        self.assertEqual(self.browser.execute_script("return frames[0].length"), 0)
        self.browser.switch_to.frame(0)
        self.addCleanup(self.browser.switch_to.default_content)
        self.assertEqual(self.browser.execute_script("return document.getElementById('cover')"), None)

    def test_a_name_that_is_led_here_is_refused(self):
        rebound = start_browser("--host-resolver-rules=MAP evil.test 127.0.0.1")
        rebound.get(self.phone.address.replace("127.0.0.1", "evil.test"))
        self.assertIn("evil.test", rebound.current_url)
        self.assertEqual(rebound.execute_script("return document.getElementById('cover')"), None)
        # The same browser gets the page by its own name.
        Page(self.phone, rebound)

    def test_the_address_is_needed_whole(self):
        port, path = self.phone.port, f"/{self.phone.address.split('/')[3]}"
        wrong = path[:-1] + ("0" if path[-1] != "0" else "1")
        for way in ("/", wrong + "/", path[:-1] + "/", path + "0/", "/events"):
            answer = ask(http.client.HTTPConnection("127.0.0.1", port), "GET", way)
            self.assertEqual(answer.status, 403, way)
            self.assertNotIn(path[1:], answer.body.decode())


if __name__ == "__main__":
    unittest.main()
