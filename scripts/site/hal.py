# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""The reference of the interfaces, made of the .hal files: a page for each version of a package, with every interface,
method, type and value, its comment, and a link to its line.
"""
import os
import re
import typing

ROOT = "vendor.qmx.hardware"
SKIPPED = re.compile(r"(?:\s+|//[^\n]*|import [\w.@:]+;)*")
COMMENT = re.compile(r"/\*\*(.*?)\*/", re.DOTALL)
PACKAGE = re.compile(r"package [\w.@]+;")
TYPE = re.compile(r"(interface|struct|enum|union)\s+(\w+)(?:\s*(?:extends|:)\s*([\w.@:]+))?\s*\{")
END = re.compile(r"\};")
MEMBERS = {
    "interface": re.compile(r"(?:oneway\s+)?(?P<name>\w+)\s*\((?P<takes>[^)]*)\)"
                            r"(?:\s*generates\s*\((?P<gives>[^)]*)\))?\s*;"),
    "struct": re.compile(r"(?P<type>[\w.@:<>\[\]]+)\s+(?P<name>\w+)\s*;"),
    "enum": re.compile(r"(?P<name>\w+)\s*(?:=\s*(?P<value>[^,}]+?))?\s*(?:,|(?=\}))"),
}
MEMBERS["union"] = MEMBERS["struct"]
KINDS = {"interface": "method", "struct": "field", "union": "field", "enum": "value"}
TAG = re.compile(r"^@(param|return) (\w+) ?", re.MULTILINE)
# Words of a comment that are names for sure: of two parts at least, as in setPowerStatus.
NAME = re.compile(r"(?<![`\w])[A-Za-z]+[a-z0-9]+(?:[A-Z]\w*)+(?![`\w])")
SPECIAL = re.compile(r"([\\*<\[\]])")


class Declaration(typing.NamedTuple):
    kind: str  # interface, struct, enum, union; or method, field, value
    name: str
    text: str  # as it stands in the file
    comment: str
    line: int
    parts: dict  # of a member: MEMBERS' groups; of a type: "base"
    members: list


class Unknown(Exception):
    """A text that is no HIDL as this project writes it."""


def comment_of(text):
    """A comment without its stars."""
    return "\n".join(re.sub(r"^\s*\* ?", "", line) for line in text.split("\n")).strip()


def parse(path, text):
    """The types of a file, in order."""
    position, types, inside, comment = 0, [], None, ""

    def take(pattern):
        nonlocal position
        match = pattern.match(text, position)
        if match:
            position = match.end()
        return match

    while take(SKIPPED) and position < len(text):
        line = text.count("\n", 0, position) + 1
        if match := take(COMMENT):
            comment = comment_of(match[1])
            continue
        if inside is None and (match := take(TYPE)):
            inside = Declaration(match[1], match[2], match[0][:-1].strip(), comment, line, {"base": match[3]}, [])
            types.append(inside)
        elif inside is not None and take(END):
            inside = None
        elif inside is not None and (match := take(MEMBERS[inside.kind])):
            inside.members.append(Declaration(KINDS[inside.kind], match["name"], re.sub(r"\s+", " ", match[0].strip()),
                                              comment, line, match.groupdict(), []))
        elif inside is not None or not take(PACKAGE):
            raise Unknown(f"{path}:{line}: {text[position:].splitlines()[0]}")
        comment = ""
    if inside is not None:
        raise Unknown(f"{path}: {inside.name} has no end")
    return types


def version_of(path):
    """The package and the version of a file: ("bivista", "1.0")."""
    return tuple(path.split("/")[1:3])


def page_name(package, version):
    return f"api/{package}-{version}.md"


def prose(text, known):
    """A comment as Markdown. `known`: a function that gives the link of a name, None for a word."""
    def link(match):
        aim = known(match[0])
        return f"[`{match[0]}`]({aim})" if aim else match[0]
    return NAME.sub(link, SPECIAL.sub(r"\\\1", text))


def arguments(text):
    """[(type, name)] of a list such as "uint32_t mode, string text"."""
    return [tuple(part.split()[-2:]) for part in (text or "").split(",") if part.strip()]


def typed(name, known):
    """A type as Markdown, with a link where it is one of ours."""
    aim = known(name)
    return f"[`{name}`]({aim})" if aim else f"`{name}`"


def values_table(values, known):
    yield "| value | number | what it means |"
    yield "|---|---|---|"
    for each in values:
        yield f"| `{each.name}` | {each.parts['value'] or ''} | {' '.join(prose(each.comment, known).split())} |"


def fields_table(fields, known):
    yield "| field | type | what it is |"
    yield "|---|---|---|"
    for each in fields:
        yield f"| `{each.name}` | {typed(each.parts['type'], known)} | {' '.join(prose(each.comment, known).split())} |"


def method_lines(method, path, known):
    """A method: its text, its comment, what it takes and gives."""
    about, *tagged = TAG.split(method.comment)
    said = {(tagged[at], tagged[at + 1]): tagged[at + 2].strip() for at in range(0, len(tagged), 3)}
    yield from (f"### {method.name}", "", "```cpp", method.text, "```", "", prose(about.strip(), known), "")
    for tag, group, word in (("param", "takes", "takes"), ("return", "gives", "gives")):
        for kind, name in arguments(method.parts[group]):
            meaning = prose(" ".join(said.pop((tag, name), "").split()), known)
            yield f"- {word} **{name}** ({typed(kind, known)}){': ' + meaning if meaning else ''}"
    if said:
        raise Unknown(f"{path}:{method.line}: {method.name} has no {sorted(said)[0][1]}")
    yield from ("", source(path, method.line), "")


def source(path, line):
    """A link to a line. Sphinx does not know the lines of a listing: the link is HTML, which built.py checks."""
    return f'<a href="../source/{path}.html#line-{line}">{path}, line {line}</a>'


def type_lines(each, path, known):
    yield from (f"## {each.kind} {each.name}", "", prose(each.comment, known), "")
    base = each.parts["base"]
    if base and known(base):
        yield from (f"Extends {typed(base, known)}.", "")
    elif base:
        yield from (f"Numbers are `{base}`.", "")
    yield from (source(path, each.line), "")
    if each.kind == "interface":
        for method in each.members:
            yield from method_lines(method, path, known)
    else:
        yield from (values_table if each.kind == "enum" else fields_table)(each.members, known)
        yield ""


def names_of(files):
    """{(package, version, name): link} of the types and methods of {path: types}."""
    names = {}
    for path, types in files.items():
        package, version = version_of(path)
        for each in types:
            names[package, version, each.name] = f"{package}-{version}.md#{each.kind}-{each.name}".lower()
            if each.kind == "interface":
                for method in each.members:
                    names.setdefault((package, version, method.name), f"{package}-{version}.md#{method.name}".lower())
    return names


def look_up(names, package, version):
    """The function that gives the link of a name in a file of this version: of its own or of an older one, or of the
    version that the name says, as in @1.0::Status."""
    versions = sorted({of for name, of, _ in names if name == package and of <= version}, reverse=True)

    def known(name):
        name = name.removeprefix("vec<").removesuffix(">")
        said, _, plain = name.rpartition("::")
        return next((names[package, of, plain] for of in ([said.lstrip("@")] if said else versions)
                     if (package, of, plain) in names), None)
    return known


def pages(paths, read):
    """{name: Markdown} of the reference."""
    files = {path: parse(path, read(path)) for path in sorted(paths)}
    names = names_of(files)
    made = {}
    for package, version in sorted({version_of(path) for path in files}, key=lambda of: (of[0] != "bivista", of)):
        known = look_up(names, package, version)
        lines = [f"# {ROOT}.{package}@{version}", "", f"Made of the `.hal` files in `interfaces/{package}/{version}/`.", ""]
        # Interfaces first; then what they take and give.
        own = [path for path in files if version_of(path) == (package, version)]
        for path in sorted(own, key=lambda path: (os.path.basename(path) == "types.hal", path)):
            for each in files[path]:
                lines += type_lines(each, path, known)
        made[page_name(package, version)] = "\n".join(lines)
    return made
