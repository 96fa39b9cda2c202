# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""The version of this tree and its releases: kernel/base/Version.h, CHANGELOG.md, package/changelog and
interfaces/current.txt agree.

    scripts/versions.py                   prints one line per finding, and exits 1 then
    scripts/versions.py --release DATE    makes the tree the release of its version, of this day (YYYY-MM-DD): dates
                                          both changelogs, and freezes our interfaces; prints the files that it wrote
    scripts/versions.py --is-release      exits 1 when the tree is none

CHANGELOG.md begins with "Unreleased". Where that has news, its first words are "Becomes VERSION", the version of the
tree, which is newer than every release; else they are "Nothing yet", and the tree is the newest release. Run from the
project's root.
"""
import datetime
import re
import sys
import typing

import phone

CHANGELOG = "CHANGELOG.md"
DEBIAN = "package/changelog"
HASHES = phone.HASHES

SECTION = re.compile(r"^## (.*)\n", re.MULTILINE)
RELEASE = re.compile(r"(\d+\.\d+\.\d+) - (\d{4}-\d\d-\d\d)")
BECOMES = re.compile(r"\s*Becomes (\d+\.\d+\.\d+)\b[^\n]*\n")
NOTHING = "\nNothing yet.\n"
ENTRY = re.compile(r"bivista \((\S+)\) (\w+);")
SIGNED = re.compile(r"^ -- (.*>)  (.*)$", re.MULTILINE)
DEBIAN_DATE = "%a, %d %b %Y 12:00:00 +0000"


class History(typing.NamedTuple):
    becomes: str  # the version that "Unreleased" is on its way to; None for a tree that is a release
    releases: list  # (version, date), newest first


class Unreadable(Exception):
    """A CHANGELOG of another form."""


def number(version):
    return tuple(map(int, version.split(".")))


def day(text):
    try:
        return datetime.date.fromisoformat(text)
    except ValueError:
        raise Unreadable(f"{CHANGELOG}: no date: {text}") from None


def history(changelog):
    """What CHANGELOG.md says of the releases."""
    headings = SECTION.findall(changelog)
    if headings[:1] != ["Unreleased"]:
        raise Unreadable(f"{CHANGELOG}: does not begin with Unreleased")
    releases = []
    for heading in headings[1:]:
        match = RELEASE.fullmatch(heading)
        if not match:
            raise Unreadable(f"{CHANGELOG}: no release and its date: {heading}")
        day(match[2])
        if releases and (number(match[1]) >= number(releases[-1][0]) or match[2] > releases[-1][1]):
            raise Unreadable(f"{CHANGELOG}: not the newest first: {heading}")
        releases.append(match.groups())
    news = SECTION.split(changelog)[2]
    becomes = BECOMES.match(news)
    if becomes is None and news.strip() != NOTHING.strip():
        raise Unreadable(f"{CHANGELOG}: Unreleased begins neither with 'Becomes VERSION' nor with '{NOTHING.strip()}'")
    if becomes is None and not releases:
        raise Unreadable(f"{CHANGELOG}: has no version")
    return History(becomes[1] if becomes else None, releases)


def check_changelogs(version, told, debian):
    """The version of the tree against both changelogs."""
    if told.becomes and told.becomes != version:
        yield f"{CHANGELOG}: becomes {told.becomes}, and the tree is {version}"
    elif told.becomes and told.releases and number(version) <= number(told.releases[0][0]):
        yield f"{CHANGELOG}: has news after {told.releases[0][0]}, and the tree is still {version}"
    elif not told.becomes and told.releases[0][0] != version:
        yield f"{CHANGELOG}: the newest release is {told.releases[0][0]}, and the tree is {version}"
    entry, signed = ENTRY.match(debian), SIGNED.search(debian)
    if not entry or not signed:
        yield f"{DEBIAN}: begins with no entry"
        return
    if entry[1] != version:
        yield f"{DEBIAN}: begins with {entry[1]}, and the tree is {version}"
    if told.becomes and entry[2] != "UNRELEASED":
        yield f"{DEBIAN}: says {entry[2]}, and {version} is not released: UNRELEASED"
    if not told.becomes and entry[2] != "unstable":
        yield f"{DEBIAN}: says {entry[2]}, and {version} is released: unstable"
    if not told.becomes and signed[2] != day(told.releases[0][1]).strftime(DEBIAN_DATE):
        yield f"{DEBIAN}: has another date than {CHANGELOG}"


def check_hashes(tree, told):
    """Interfaces of ours have hashes from their release on, whole versions of the package at a time; others have
    none."""
    frozen = phone.frozen(tree)
    ours = {version: set(phone.hash_lines(f"{phone.SERVED}@{version}")) for version in tree.versions()}
    released = [version for version, lines in ours.items() if {line.split()[1] for line in lines} & set(frozen.values())]
    if not told.releases and frozen:
        yield f"{HASHES}: has hashes, and nothing was released"
        return
    # A tree that is a release has released them all; each release has the oldest; one rests on those before it.
    last = max(map(phone.as_number, released or [min(ours)])) if told.becomes else max(map(phone.as_number, ours))
    wanted = {line for version, lines in ours.items()
              if told.releases and phone.as_number(version) <= last for line in lines}
    for line in sorted(set(frozen) ^ wanted):
        yield f"{HASHES}: {'has, and it is no released interface of ours as it is' if line in frozen else 'lacks'}: {line}"


def check(tree):
    """One line per finding."""
    version = phone.PROJECT_VERSION.search(tree.read(phone.VERSION_HEADER))[1]
    try:
        told = history(tree.read(CHANGELOG))
    except Unreadable as problem:
        yield str(problem)
        return
    yield from check_changelogs(version, told, tree.read(DEBIAN))
    yield from check_hashes(tree, told)


def release(tree, date):
    """{file: text} of the tree as the release of its version. The tree has no findings."""
    told = history(tree.read(CHANGELOG))
    if not told.becomes:
        raise Unreadable(f"{told.releases[0][0]} is released already")
    changelog, debian, hashes = (tree.read(file) for file in (CHANGELOG, DEBIAN, HASHES))
    before, _, news = changelog.partition("## Unreleased\n")
    changelog = f"{before}## Unreleased\n{NOTHING}\n## {told.becomes} - {date}\n{BECOMES.sub('', news, count=1)}"
    debian = SIGNED.sub(rf" -- \1  {day(date).strftime(DEBIAN_DATE)}", debian.replace(" UNRELEASED;", " unstable;", 1), count=1)
    new = [line for line in phone.hashes(tree) if line not in hashes]
    return {CHANGELOG: changelog, DEBIAN: debian, HASHES: "\n".join([hashes.rstrip("\n"), *([""] if new else []), *new, ""])}


def main():
    tree = phone.Tree()
    findings = list(check(tree))
    if sys.argv[1:] == ["--is-release"] and not findings:
        return 1 if history(tree.read(CHANGELOG)).becomes else 0
    if sys.argv[1:2] == ["--release"] and not findings:
        try:
            for file, text in release(tree, sys.argv[2]).items():
                with open(file, "w", encoding="utf-8") as opened:
                    opened.write(text)
                print(file)
        except Unreadable as problem:
            findings = [str(problem)]
    print(*findings, sep="\n", end="\n" if findings else "", file=sys.stderr)
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
