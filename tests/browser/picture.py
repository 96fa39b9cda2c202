# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Makes the README's picture: the page of a cover at work.

usage: tests/browser/picture.py [FILE]    without FILE: docs/page.png
"""
import pathlib
import subprocess
import sys

from page import Page, until
from phone import ROOT, Phone


def work(phone):
    """A cover with a lit screen, a text on its panel, and a fault that has struck."""
    phone.client("power", "on")
    for level in (40, 90, 150, 200, 160):
        phone.client("brightness", str(level))
    phone.client("sub", "brightness", "255")
    phone.client("sub", "text", "12:45")
    phone.client("at", "AT%SWV")
    phone.ctl("pen", "BV_PEN_DETECTION")
    phone.ctl("fault", "on AT%SWV late 200ms")
    phone.client("at", "AT%SWV")
    phone.ctl("mark", "the cover was slow")
    phone.client("colour", "mode", "MODE_1")
    until(lambda: phone.state()["sub_display"]["frames"], "the text")


def main():
    file = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else ROOT / "docs/page.png").resolve()
    phone = Phone()
    try:
        work(phone.start().serve())
        page = Page(phone)
        page.find("search").send_keys("AT%SWV")
        row = until(lambda: page.find_all("#timeline-list .faulty"), "the fault")[0]
        row.click()
        page.find("search").clear()
        page.browser.save_screenshot(str(file))
    finally:
        phone.end()
    # A palette is as good for a page, and a third of the size.
    subprocess.run(["pngquant", "--force", "--ext", ".png", "--skip-if-larger", "--strip", file], check=True)
    print(f"{file}: {file.stat().st_size} bytes")


if __name__ == "__main__":
    main()
