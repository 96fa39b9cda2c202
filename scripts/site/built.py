# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Checks the site as it was built: its pages are whole without a network.

    scripts/site/built.py FOLDER      prints one line per finding, and exits 1 then

Every link leads to a file of the site and to a name in it; no page loads anything from elsewhere, or from the root of
a server; every page can be reached from index.html.
"""
import functools
import html.parser
import os
import pathlib
import re
import sys
import urllib.parse

OUTSIDE = re.compile(r"[a-z]+:|//", re.IGNORECASE)
# Elements that load what they name, and the attribute.
LOADS = {("img", "src"), ("script", "src"), ("link", "href"), ("iframe", "src"), ("object", "data"), ("source", "src")}
LOADED_BY_STYLE = re.compile(r"""(?:url\(|@import\s+)\s*["']?((?:https?:)?//[^"')\s]+)""")
# Made for pages that have no name of their own.
UNREACHED = {"genindex.html", "search.html"}


class Page(html.parser.HTMLParser):
    """The names in a page, and its links: (element, attribute, aim, line)."""

    def __init__(self, text):
        super().__init__()
        self.names, self.links = set(), []
        self.feed(text)

    def handle_starttag(self, tag, attrs):
        for key, value in attrs:
            if key == "id" or (tag, key) == ("a", "name"):
                self.names.add(value)
            elif (key == "href" or (tag, key) in LOADS) and value:
                self.links.append((tag, key, value, self.getpos()[0]))


@functools.cache
def page(path):
    return Page(path.read_text(encoding="utf-8", errors="replace"))


def check_link(path, link, root):
    """What is wrong with a link of a page, or None; and the file that it leads to, or None."""
    tag, key, value, _ = link
    if OUTSIDE.match(value):
        loads = (tag, key) in LOADS and not value.startswith("data:")
        return ("comes from elsewhere" if loads else None), None
    name, _, anchor = value.partition("#")
    name = urllib.parse.unquote(name.partition("?")[0])
    aim = pathlib.Path(os.path.normpath(path.parent / name)) if name else path
    if name.startswith("/") or root not in aim.parents:
        return "leads out of the site", None
    if not aim.is_file():
        return "no such file", None
    if anchor and aim.suffix == ".html" and urllib.parse.unquote(anchor) not in page(aim).names:
        return "no such name in it", aim
    return None, aim


def check(root):
    """One line per finding."""
    paths = sorted(root.rglob("*.html"))
    reached, fresh = set(), [root / "index.html"]
    leads = {path: set() for path in paths}
    for path in paths:
        for link in page(path).links:
            finding, aim = check_link(path, link, root)
            if finding:
                yield f"{path.relative_to(root)}:{link[3]}: {link[2]}: {finding}"
            elif aim and link[0] == "a":
                leads[path].add(aim)
    while fresh:
        path = fresh.pop()
        if path not in reached:
            reached.add(path)
            fresh.extend(leads.get(path, ()))
    for path in paths:
        if path not in reached and path.name not in UNREACHED:
            yield f"{path.relative_to(root)}: no page leads to it"
    for path in sorted(root.rglob("*.css")):
        for aim in LOADED_BY_STYLE.findall(path.read_text(encoding="utf-8", errors="replace")):
            yield f"{path.relative_to(root)}: {aim}: comes from elsewhere"


def main():
    root = pathlib.Path(sys.argv[1]).resolve()
    findings = list(check(root)) if (root / "index.html").is_file() else [f"{root}: no index.html"]
    print(*findings, sep="\n", end="\n" if findings else "")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
