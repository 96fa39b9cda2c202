# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""The page in Chromium, as a person meets it. One browser is enough for all tests of a process."""
import atexit
import functools
import os
import pathlib
import re
import tempfile

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By

from phone import ROOT, until

SHOTS = ROOT / "build/browser"
WIDE, NARROW = (1280, 800), (390, 844)
# Evaluates to the picture's rows of [red, green, blue], once it is decoded.
PIXELS = """
const [url, done] = arguments;
const image = new Image();
image.onload = () => {
    const canvas = document.createElement("canvas");
    [canvas.width, canvas.height] = [image.width, image.height];
    const context = canvas.getContext("2d");
    context.drawImage(image, 0, 0);
    const {data} = context.getImageData(0, 0, canvas.width, canvas.height);
    const sum = [0, 0, 0];
    for (let at = 0; at < data.length; at += 4) for (const part of [0, 1, 2]) sum[part] += data[at + part];
    done(sum.map(part => part * 4 / data.length));
};
image.src = url;
"""
ROWS = """Array.from(document.querySelectorAll("#timeline-list [role=row][data-id]:not([hidden])"))
    .sort((one, other) => one.dataset.index - other.dataset.index)"""


def start_browser(*arguments):
    """A headless Chromium without any profile of the user's, ended with the process."""
    options = webdriver.ChromeOptions()
    downloads = tempfile.TemporaryDirectory(prefix="bivista-downloads-")
    for argument in ("--headless=new", "--disable-dev-shm-usage", f"--window-size={WIDE[0]},{WIDE[1]}", *arguments,
                     # Chromium's sandbox refuses root, in whose place no page of others is shown here.
                     *(["--no-sandbox"] if os.geteuid() == 0 else [])):
        options.add_argument(argument)
    options.add_experimental_option("prefs", {"download.default_directory": downloads.name})
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    browser = webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))
    atexit.register(downloads.cleanup)
    atexit.register(browser.quit)
    browser.downloads = pathlib.Path(downloads.name)
    return browser


@functools.cache
def shared_browser():
    return start_browser()


def numbers(text):
    return [int(number) for number in re.findall(r"\d+", text)]


class Page:
    """The page of a phone, opened anew."""

    def __init__(self, phone, browser=None):
        self.browser = browser or shared_browser()
        self.phone = phone
        self.size(*WIDE)
        self.open()

    def open(self):
        self.browser.get(self.phone.address)
        self.await_loaded()

    def await_loaded(self):
        try:
            until(lambda: self.script("""
                return window.bivista?.items > 0 && !document.getElementById("plug").disabled"""), "items")
        except AssertionError as error:
            raise AssertionError(f"{error} {self.text('status')} {self.complaints()}") from None

    def size(self, width, height):
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 600})

    def scheme(self, name):
        """What the machine's user prefers: dark or light."""
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": name}]})

    def script(self, text, *arguments):
        return self.browser.execute_script(text, *arguments)

    def find(self, identity):
        """The element with this id."""
        return self.browser.find_element(By.CSS_SELECTOR, f"#{identity}")

    def find_all(self, selector):
        return self.browser.find_elements(By.CSS_SELECTOR, selector)

    @staticmethod
    def find_in(element, selector):
        return element.find_element(By.CSS_SELECTOR, selector)

    @staticmethod
    def find_all_in(element, selector):
        return element.find_elements(By.CSS_SELECTOR, selector)

    def click(self, element):
        """Brings it from below the page's head into the middle, as a person scrolls, and clicks."""
        self.script("arguments[0].scrollIntoView({block: 'center'})", element)
        element.click()

    def data(self, element, name):
        return self.find(element).get_attribute(f"data-{name}")

    def text(self, element):
        return self.find(element).text

    def rest(self):
        """Waits until nothing moves."""
        until(lambda: self.script("return document.getAnimations().every(each => each.playState !== 'running')"))

    def shoot(self, name):
        """Keeps a screenshot of what stands in the window."""
        self.rest()
        SHOTS.mkdir(parents=True, exist_ok=True)
        self.browser.save_screenshot(str(SHOTS / f"{name}.png"))

    def colour(self, element):
        """The mean red, green and blue of an element as it is painted."""
        picture = self.find(element).screenshot_as_base64
        return self.browser.execute_async_script(PIXELS, f"data:image/png;base64,{picture}")

    def rows(self):
        """The timeline's rows in sight: their lane, and the text of each cell."""
        return self.script(f"""return {ROWS}.map(row => [
            row.dataset.lane, ...Array.from(row.children, cell => cell.textContent)]);""")

    def click_row(self, number):
        self.click(self.script(f"return {ROWS}.at(arguments[0])", number))

    def search(self, text):
        field = self.find("search")
        field.clear()
        field.send_keys(text)
        until(lambda: all(text.lower() in " ".join(row).lower() for row in self.rows()), f"only {text}")

    def complaints(self):
        """What the browser's console says: a page in order says nothing. That pixels are read is a test's doing."""
        return [entry["message"] for entry in self.browser.get_log("browser") if entry["source"] != "rendering"]
