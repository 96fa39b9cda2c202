# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Every ability of the emulator is a form of the page, does what it says, and names the command that does the same."""
import typing
import unittest

from selenium.webdriver.support.ui import Select

from case import PageCase
from phone import equals, until


class Deed(typing.NamedTuple):
    """One way to use a form. `read` gives what it changes, out of the state and what the journal has had since."""
    ability: str
    method: str
    path: str
    values: dict
    read: typing.Callable
    undo: tuple = ("POST", "/v1/reset", {})
    which: int = 0  # of several forms of this request


def events(word):
    return lambda state, since: [True for entry in since if entry["kind"] == "uevent" and word in entry["bytes"]]



def member(*names):
    def read(state, since):
        for name in names:
            state = state[name]
        return state
    return read


FAULT = {"text": "on AT%SWV silent times 2"}
DEEDS = (
    Deed("gesture", "POST", "/v1/event", {"name": "WAKEUP"}, events("TOUCH_GESTURE_WAKEUP=WAKEUP")),
    Deed("pen", "POST", "/v1/event", {"name": "BV_PEN_DETECTION"}, events("BV_PEN_DETECTION")),
    Deed("uevent", "POST", "/v1/uevent", {"bytes": "change@/x\\x00"}, events("change@/x")),
    Deed("fault", "POST", "/v1/faults", FAULT, member("faults"), ("DELETE", "/v1/faults", {})),
    Deed("wakelock", "PUT", "/v1/wakelock", {"held": False}, member("wakelock"),
         ("PUT", "/v1/wakelock", {"held": True})),
    Deed("accessory", "PUT", "/v1/accessory", {"state": 2, "type": 7}, member("accessory")),
    Deed("accessory", "DELETE", "/v1/accessory", {}, member("accessory")),
    Deed("lpwg", "PUT", "/v1/lpwg/declared", {}, member("lpwg")),
    Deed("lpwg", "PUT", "/v1/lpwg", {"result": 5}, lambda state, since: state["lpwg"].get("result"), which=1),
    Deed("firmware put", "PUT", "/v1/firmware", {"name": "BV330-V20k_20220101.dfu", "size": 2048}, member("firmware")),
    Deed("subdisplay", "PUT", "/v1/subdisplay", {"width": 96, "height": 40},
         lambda state, since: (state["sub_display"]["width"], state["sub_display"]["height"])),
    Deed("property", "PUT", "/v1/properties", {"key": "persist.x", "value": "a b'c"}, member("properties")),
    Deed("chatter", "PUT", "/v1/chatter", {"text": "mcu", "gap_us": 500000}, member("chatter")),
    Deed("cover", "PUT", "/v1/cover", {"version": "BV330-V11k_20210401", "banner": "up"}, member("banner")),
    Deed("loader error", "PUT", "/v1/loader", {}, lambda state, since: state["loader"] is not None),
    Deed("detach", "POST", "/v1/detach", {}, member("attached")),
)


class ActionsTest(PageCase):
    def forms(self, ability, method, path):
        return self.page.find_all(
            f'#actions form[data-ability="{ability}"][data-method="{method}"][data-path="{path}"]')

    def test_every_ability_has_its_forms_and_fields(self):
        for ability in self.phone.abilities():
            wanted = {}
            for request in ability["requests"]:
                names = sorted({argument["name"] for argument in request["arguments"]} - set(request.get("fixed", ())))
                wanted.setdefault((request["method"], request["path"]), []).append(names)
            for (method, path), fields in wanted.items():
                found = [sorted({field.get_attribute("name")
                                 for field in self.page.find_all_in(form, "input, select, textarea")})
                         for form in self.forms(ability["name"], method, path)]
                with self.subTest(ability=ability["name"], method=method, path=path):
                    self.assertEqual(found, fields)

    def open_panel(self, form):
        self.page.script("""
            const panel = arguments[0].closest("[role=tabpanel]");
            if (panel) document.querySelector(`[role=tab][aria-controls="${panel.id}"]`).click();""", form)
        until(form.is_displayed, "the form")

    def fill(self, form, values):
        for name, value in values.items():
            field = self.page.find_in(form, f'[name="{name}"]')
            if field.tag_name == "select":
                Select(field).select_by_value({True: "on", False: "off"}.get(value, str(value)))
            elif field.get_attribute("type") == "checkbox":
                if field.is_selected() != value:
                    field.click()
            else:
                field.clear()
                field.send_keys(str(value))

    def outcome(self, deed, since):
        return deed.read(self.phone.state(), [entry for entry in self.phone.journal() if entry["seq"] >= since])

    def begin(self, deed):
        self.phone.request(*deed.undo)
        if deed.undo[1] == "/v1/reset":
            self.phone.attach()
        journal = self.phone.journal()
        return journal[-1]["seq"] + 1

    def test_a_deed_and_its_command_do_the_same(self):
        for deed in DEEDS:
            with self.subTest(ability=deed.ability, method=deed.method):
                since = self.begin(deed)
                before = self.outcome(deed, since)
                form = self.forms(deed.ability, deed.method, deed.path)[deed.which]
                self.open_panel(form)
                self.fill(form, deed.values)
                command = self.page.find_in(form, "code.command").text
                self.assertTrue(command.startswith("bivista-emulator ctl "), command)
                self.page.click(self.page.find_in(form, "[type=submit]"))
                until(lambda: self.outcome(deed, since) != before, "the deed")
                done = self.outcome(deed, since)
                since = self.begin(deed)
                equals(lambda: self.outcome(deed, since), before)
                self.phone.shell(command)
                equals(lambda: self.outcome(deed, since), done)
        self.phone.reset()

    def test_what_the_emulator_refuses_is_said_beside_the_button(self):
        form = self.forms("fault", "POST", "/v1/faults")[0]
        self.open_panel(form)
        self.fill(form, {"text": "on nothing"})
        self.page.click(self.page.find_in(form, "[type=submit]"))
        answer = self.page.find_in(form, "output.answer")
        until(lambda: answer.text, "the answer")
        told = self.phone.refusal("POST", "/v1/faults", {"text": "on nothing"})
        self.assertIn(told, answer.text)
        self.assertEqual(self.phone.state()["faults"], [])
        # The browser itself tells of the refusal.
        self.page.complaints()

    def test_a_fault_is_listed_with_how_often_it_was_met_and_can_be_cleared(self):
        self.phone.ctl("fault", "on AT%SWV late 1ms")
        self.phone.ctl("fault", "hid write error EIO times 5")
        met = lambda: [(self.page.find_in(item, "code").text, self.page.find_in(item, ".met").get_attribute("data-met"))
                       for item in self.page.find_all("#faults li")]
        told = lambda: [(fault["fault"], str(fault["met"])) for fault in self.phone.state()["faults_met"]]
        equals(met, told)
        self.phone.client("at", "AT%SWV")
        self.phone.client("at", "AT%SWV")
        until(lambda: told()[0][1] == "2")
        equals(met, told)
        self.page.shoot("faults")
        self.page.find("clear-faults").click()
        equals(self.phone.state()["faults"].copy, [])
        equals(lambda: self.page.find_all("#faults li"), [])

    def test_a_command_can_be_copied(self):
        self.page.browser.execute_cdp_cmd("Browser.grantPermissions", {
            "permissions": ["clipboardReadWrite", "clipboardSanitizedWrite"]})
        form = self.forms("subdisplay", "PUT", "/v1/subdisplay")[0]
        self.open_panel(form)
        self.fill(form, {"width": 64})
        command = self.page.find_in(form, "code.command").text
        self.assertEqual(command, "bivista-emulator ctl subdisplay --width 64")
        self.page.click(self.page.find_in(form, "button.copy"))
        equals(lambda: self.page.browser.execute_async_script(
            "navigator.clipboard.readText().then(arguments[0])"), command)


if __name__ == "__main__":
    unittest.main()
