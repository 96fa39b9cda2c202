# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Makes a picture, FILE, of the page while a cover is at work. scripts/picture.sh runs it."""
import pathlib
import subprocess
import sys

from selenium.webdriver.common.keys import Keys

from page import Page
from phone import Phone, until


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
    file = pathlib.Path(sys.argv[1]).resolve()
    phone = Phone()
    try:
        work(phone.start().serve())
        page = Page(phone)
        page.browser.execute_cdp_cmd("Emulation.setScrollbarsHidden", {"hidden": True})
        page.search("AT%SWV")
        struck = until(lambda: [at for at, row in enumerate(page.rows()) if row[-1] == "OK fault"], "the fault")
        page.click_row(struck[0])
        page.find("search").send_keys(Keys.CONTROL, "a", Keys.DELETE)
        until(lambda: any("the cover was slow" in row for row in page.rows()), "all items")
        page.script("scrollTo(0, 0); document.activeElement.blur()")
        page.rest()
        page.browser.save_screenshot(str(file))
    finally:
        phone.end()
    # A palette is as good for a page, and a third of the size.
    subprocess.run(["pngquant", "--force", "--ext", ".png", "--skip-if-larger", "--strip", file], check=True)
    print(f"{file}: {file.stat().st_size} bytes")


if __name__ == "__main__":
    main()
