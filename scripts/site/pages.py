# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Lays out the pages of the site for Sphinx: the project's documents where they are, each file that they link to as a
page that shows it, the reference of the interfaces and headers, and what leads to all of them.

    scripts/site/pages.py FOLDER       from the project's root; the folder is made anew

The documents stay as they are but for their links: on the site README.md is index, a file is the page that shows it,
and a link to the text of a diagram stands below the diagram.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys

import pygments
import pygments.formatters
import pygments.lexers

import hal
import headers

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
import links  # noqa: E402 pylint: disable=wrong-import-position

FRONT = "README.md"
# What stands beside the pages, in order. A document that is not named here stands below MORE.
NAVIGATION = {
    "Use": ("docs/interface.md", "docs/clients.md", "docs/python.md", "docs/session.md", "docs/troubleshooting.md",
            "docs/debug-dump.md", "tools/README.md", "docs/linux.md", "docs/glossary.md"),
    "Try without a phone": ("docs/emulator.md", "docs/page.md", "docs/scenarios.md", "docs/recordings.md",
                            "emulator/phone/README.md", "emulator/cover/README.md", "emulator/ui/README.md",
                            "vm/README.md"),
    "Ship": ("docs/integration.md", "vts/README.md", "SECURITY.md", "CHANGELOG.md"),
    "Change": ("CONTRIBUTING.md", "docs/architecture.md", "docs/threading.md", "docs/at-dialect.md", "docs/quirks.md",
               "host/README.md", "host/hidl/README.md", "tests/sepolicy/README.md"),
}
MORE = "More"
REFERENCE = "Reference"
PICTURE = ".png"
# A line of its own: the code host shows the diagram's text, the site draws it.
DIAGRAM = re.compile(r"^\[(.*)\]\((\S*diagrams/[\w-]+)\.puml\)$", re.MULTILINE)


def page_of(path):
    """The page, or the picture, that shows a file of the project."""
    if path == FRONT:
        return "index.md"
    return path if path.endswith((".md", PICTURE)) else f"source/{path}.md"


def relink(path, text):
    """The text of a document with its links as the site has them, and the files, not documents, that it links to."""
    text = DIAGRAM.sub(r"![\1](\2.svg)\n\n[This diagram as text](\2.puml)", text)
    files, folder, prose = set(), os.path.dirname(path), links.prose(text)

    def link(match):
        name, mark, heading = match[1].partition("#")
        aim = os.path.normpath(os.path.join(folder, name))
        # In code nothing is a link; a folder has no page, and drawings are made later.
        if prose[match.start():match.end()] != match[0] or not name or links.OUTSIDE.match(name) \
                or os.path.isdir(aim) or aim.endswith(".svg"):
            return match[0]
        if not aim.endswith(".md"):
            files.add(aim)
        return f"]({os.path.relpath(page_of(aim), folder or '.')}{mark}{heading})"

    return links.LINK.sub(link, text), files


def show(path, text):
    """The page that shows a file, whose line 7 has the name line-7."""
    try:
        lexer = pygments.lexers.get_lexer_for_filename(path)
    except pygments.util.ClassNotFound:
        lexer = pygments.lexers.TextLexer()
    made = pygments.highlight(text, lexer, pygments.formatters.HtmlFormatter(
        lineanchors="line", anchorlinenos=True, linenos="inline", cssclass="highlight source"))
    return f"---\norphan: true\n---\n\n# {path}\n\n```{{raw}} html\n{made}```\n"


def name_of(page):
    """A page as Sphinx names it."""
    return "/" + page.removesuffix(".md")


def contents(caption, entries):
    """Names pages beside all pages."""
    names = "\n".join(entries)
    return f"\n```{{toctree}}\n:hidden:\n:caption: {caption}\n\n{names}\n```\n"


def navigation(documents, reference):
    """The groups of pages, below the text of the front page. `reference`: {page: its short title}."""
    named = {document for group in NAVIGATION.values() for document in group} | {FRONT}
    groups = {caption: [name_of(page_of(name)) for name in group if name in documents]
              for caption, group in NAVIGATION.items()}
    groups[REFERENCE] = [f"{title} <{name_of(page)}>" for page, title in reference.items()]
    groups[MORE] = [name_of(page_of(name)) for name in sorted(set(documents) - named)]
    return "".join(contents(caption, entries) for caption, entries in groups.items() if entries)


def listed(*patterns):
    return subprocess.run(["git", "ls-files", *patterns], capture_output=True, text=True, check=True).stdout.split()


def write(folder, name, text):
    path = folder / name
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text, encoding="utf-8")


def lay_out(folder):
    """Makes the folder."""
    documents = listed("*.md")
    reference = {**hal.pages(listed("interfaces/*.hal"), links.read), **headers.pages(links.read)}
    titles = {name: text.splitlines()[0].removeprefix(f"# {hal.ROOT}.").removeprefix("# ") for name, text in reference.items()}
    shown = {*listed("interfaces/*.hal"), *headers.listed()}
    for path in documents:
        text, files = relink(path, links.read(path))
        shown |= files
        write(folder, page_of(path), text + (navigation(documents, titles) if path == FRONT else ""))
    for name, text in reference.items():
        write(folder, name, text)
    for path in sorted(shown):
        if path.endswith(PICTURE):
            (folder / path).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(path, folder / path)
        else:
            write(folder, page_of(path), show(path, links.read(path)))


def main():
    folder = pathlib.Path(sys.argv[1])
    shutil.rmtree(folder, ignore_errors=True)
    lay_out(folder)


if __name__ == "__main__":
    main()
