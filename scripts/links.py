"""Links of the documents: the file of each is there, and so is the heading that it leads to."""
import os
import re
import string

FENCE = re.compile(r" *```")
HEADING = re.compile(r"#{1,6} +(.*?)[ #]*$")
LINK = re.compile(r"\]\(([^()\s]+)\)")
INLINE_CODE = re.compile(r"`[^`]*`")
# Leads out of the project.
OUTSIDE = re.compile(r"[a-z]+:", re.IGNORECASE)


def prose(text):
    """The lines outside of code blocks, each with its number."""
    inside = False
    for number, line in enumerate(text.split("\n"), 1):
        if FENCE.match(line):
            inside = not inside
        elif not inside:
            yield number, line


def anchor(heading):
    """What a heading is called in links: its words in lower case, without marks, joined by hyphens."""
    kept = [letter for letter in heading.lower()
            if letter in "-_ " or letter not in string.punctuation]
    return "".join(kept).replace(" ", "-")


def anchors(text):
    """The headings of a document, as links call them: the second of a name is name-1."""
    found = set()
    for _, line in prose(text):
        match = HEADING.match(line)
        if not match:
            continue
        name = anchor(match.group(1))
        other = name
        count = 0
        while other in found:
            count += 1
            other = f"{name}-{count}"
        found.add(other)
    return found


def links(text):
    """Where the links of a document lead, each with its line."""
    for number, line in prose(text):
        for target in LINK.findall(INLINE_CODE.sub("", line)):
            yield number, target


def check(path, text, read):
    """One line per finding. `read` gives the text of a file of the project, None when there is none."""
    for number, target in links(text):
        if OUTSIDE.match(target):
            continue
        name, _, heading = target.partition("#")
        aim = os.path.normpath(os.path.join(os.path.dirname(path), name)) if name else path
        aimed = text if aim == path else read(aim)
        if aimed is None:
            yield f"{path}:{number}: {target}: no such file"
        elif heading and heading not in anchors(aimed):
            yield f"{path}:{number}: {target}: no such heading"
