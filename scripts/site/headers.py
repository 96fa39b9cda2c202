# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""The reference of the headers: a page for each, with its comments as text and its declarations as code, in their order.

A comment of this project may speak of several declarations that follow it. Tools that hand a comment to
the one declaration that follows would show the others without any.
"""
import re
import subprocess
import typing

import hal

# What a client includes, beside the headers that hidl-gen makes of the interfaces. The rest of host/hidl/include is
# there for those.
CLIENT = tuple(f"host/hidl/include/hidl/{name}.h" for name in (
    "HidlSupport", "HidlTransportSupport", "ServiceManagement", "Status"))
# What the service includes in the place of the phone's libraries; their comments are the contracts.
HOST = ("host/cutils/include/*.h", "host/usbhost/include/*.h")
# The service's own, whose comments are the contracts between its rooms.
SERVICE = ("kernel/*.h", "diagnostics/*.h", "display/*.h", "sub_display/*.h")
GROUPS = (
    ("api/headers-client.md", "Headers of a client", CLIENT,
     "What a client includes on a Linux host, beside the headers that hidl-gen makes of the interfaces. On a phone the "
     "platform's libhidlbase has the same names. The other headers of `host/hidl/include` are for the code that hidl-gen "
     "makes: a client does not name them."),
    ("api/headers-host.md", "Headers of the host", HOST,
     "What the service includes on a Linux host in the place of the phone's libraries: the calls that it uses, and no "
     "others."),
    ("api/headers-service.md", "Headers of the service", SERVICE,
     "For those who change the service. Nobody else includes them; their comments are the contracts between its rooms."),
)
LICENCE = re.compile(r"// Copyright .*\n")
COMMENT = re.compile(r" *//(?: (.*))?$")
DIRECTIVE = re.compile(r"#(?:pragma|include)\b")
NAMESPACE = re.compile(r"(?:namespace .*\{|\}  // namespace .*)$")
SPECIAL = re.compile(r"([\\*<\[\]_])")


PRIVATE = re.compile(r"^( *)  private:\n(?:\1 .*\n|\n)*", re.MULTILINE)


class Block(typing.NamedTuple):
    comment: list  # lines
    code: list  # lines
    line: int  # of the first line of code


def listed(patterns=CLIENT + HOST + SERVICE):
    return subprocess.run(["git", "ls-files", *patterns], capture_output=True, text=True, check=True).stdout.split()


def blocks(text):
    """The blocks of a header: each comment on lines of its own, with the code up to the next one."""
    comment, code, first = [], [], 0
    for number, line in enumerate([*text.split("\n"), "//"], 1):
        match = COMMENT.match(line)
        if comment and not code and not line.strip() or code and match:
            yield Block(comment, code, first)
            comment, code = [], []
        if match:
            comment.append(match[1] or "")
        elif not DIRECTIVE.match(line) and (code or line.strip()):
            first = first if code else number
            code.append(line)


def without_private(text):
    """Blank lines in the place of private members: these are not for a client."""
    return PRIVATE.sub(lambda members: "\n" * members[0].count("\n"), text)


def code_of(block):
    """The code of a block; nothing where there are but the brackets around other blocks."""
    lines = [line for line in block.code if not NAMESPACE.match(line)]
    least = min((len(line) - len(line.lstrip()) for line in lines if line.strip()), default=0)
    return re.sub(r"\n{3,}", "\n\n", "\n".join(line[least:] for line in lines).strip("\n"))


def section(path, text):
    """The part of a page that is about one header: paragraphs."""
    yield f"## {path.partition('/include/')[2] or path}"
    for block in blocks(LICENCE.sub("\n", text, count=1)):
        if block.comment:
            yield SPECIAL.sub(r"\\\1", "\n".join(block.comment))
        if code := code_of(block):
            yield from (f"```cpp\n{code}\n```", hal.source(path, block.line))


def pages(read):
    """{name: Markdown} of the reference."""
    made = {}
    for name, title, patterns, about in GROUPS:
        paragraphs = [f"# {title}", about]
        for path in listed(patterns):
            paragraphs += section(path, read(path) if patterns == SERVICE else without_private(read(path)))
        made[name] = "\n\n".join(paragraphs) + "\n"
    return made
