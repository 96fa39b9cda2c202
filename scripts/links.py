# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Links of the documents: the file of each is there, and so is the heading that it leads to.

    scripts/links.py FOLDER     looks at the documents below a folder; prints one line per finding, and exits 1 then
"""
import glob
import os
import re
import sys

CODE = re.compile(r"^ *```.*?^ *```|`[^`\n]*`", re.MULTILINE | re.DOTALL)
HEADING = re.compile(r"^#{1,6} +(.*?)[ #]*$", re.MULTILINE)
LINK = re.compile(r"\]\(([^()\s]+)\)")
# The beginning of a link out of the project.
OUTSIDE = re.compile(r"[a-z]+:", re.IGNORECASE)


def anchors(text):
    """The names of headings in links: words in lower case, without marks, joined by hyphens; the second of a name is
    name-1."""
    found = []
    for heading in HEADING.findall(re.sub(r"^ *```.*?^ *```", "", text, flags=re.MULTILINE | re.DOTALL)):
        name = re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")
        found.append((name, f"{name}-{[before for before, _ in found].count(name)}".removesuffix("-0")))
    return {name for _, name in found}


def prose(text):
    """A document with blanks in the place of its code, in which nothing is a link."""
    return CODE.sub(lambda code: re.sub(r"[^\n]", " ", code[0]), text)


def check(path, text, read):
    """One line per finding. `read` gives the text of a file of the project, None when there is none."""
    for link in LINK.finditer(prose(text)):
        if OUTSIDE.match(link[1]):
            continue
        place = f"{path}:{text.count(chr(10), 0, link.start()) + 1}: {link[1]}"
        name, _, heading = link[1].partition("#")
        aim = os.path.normpath(os.path.join(os.path.dirname(path), name)) if name else path
        # A link may climb out of the folder, to what this machine has.
        aimed = text if aim == path else None if aim.startswith("..") else read(aim)
        if aimed is None:
            yield f"{place}: no such file"
        elif heading and heading not in anchors(aimed):
            yield f"{place}: no such heading"


def read(path):
    """The text of a file, nothing for a folder; None when there is neither."""
    if os.path.isdir(path):
        return ""
    if not os.path.isfile(path):
        return None
    with open(path, encoding="utf-8", errors="replace") as file:
        return file.read()


def main():
    os.chdir(sys.argv[1])
    paths = sorted(glob.glob("**/*.md", recursive=True))
    findings = [finding for path in paths for finding in check(path, read(path), read)]
    print(*findings, sep="\n", end="\n" if findings else "")
    return 1 if findings or not paths else 0


if __name__ == "__main__":
    sys.exit(main())
