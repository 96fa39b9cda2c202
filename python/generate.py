#!/usr/bin/env -S python3 -B
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Writes the methods of both clients, from what a session says of the interface and from the comments of its .hal files.

usage: python/generate.py [FOLDER]

FOLDER is python/bivista unless it is given. bivistactl must be on the PATH.
"""
import json
import pathlib
import re
import subprocess
import sys
import textwrap

PYTHON = pathlib.Path(__file__).resolve().parent
INTERFACES = PYTHON.parent / "interfaces/bivista"

HEAD = '''# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""The interface's methods, for {client}. Made by python/generate.py."""
from __future__ import annotations

from collections.abc import Sequence
from typing import Any

from . import _protocol, values
from ._protocol import CLIENT, Timeout


class {name}:
    {define} _call(self, method: str, params: Sequence[object], timeout: Timeout) -> Any:
        raise NotImplementedError
'''
METHOD = '''
    {define} {python}(self{parameters}, *, timeout: Timeout = CLIENT) -> {type}:
        """{documentation}"""
        {body}
'''
CLIENTS = (
    ("_blocking_calls.py", {"client": "the blocking client", "name": "BlockingCalls", "define": "def", "wait": ""}),
    ("_asyncio_calls.py", {"client": "asyncio", "name": "AsyncCalls", "define": "async def", "wait": "await "}),
)
PARAMETERS = {"int32": "int", "uint32": "int", "bool": "bool", "string": "str", "uint32[]": "Sequence[int]", "null": "None"}
# Type of an answer's value: that of Python, and how it is read.
VALUES = {
    None: ("None", "{}"),
    "bool": ("bool", "return bool({})"),
    "string": ("str", "return str({})"),
    "BivistaStatus": ("bool", "return _protocol.cover_connected({})"),
    "SubScreenInfo": ("values.SubScreenInfo", "return _protocol.panel({})"),
    "SubScreenState": ("values.SubScreenState | int", "return _protocol.state({})"),
}


REWORDED = (
    (r"@return (?:status|result) (?=OK|FAIL)", "Status "),
    (r"@return \w+ ", "Returns "),
    (r"@param (\w+) ", r"\1: "),
)


def python_name(method):
    """set_bv_brightness_offset for setBVBrightnessOffset."""
    apart = re.sub(r"([A-Z]+)([A-Z][a-z])", r"\1_\2", method)
    return re.sub(r"([a-z0-9])([A-Z])", r"\1_\2", apart).lower()


def methods():
    """The session's list."""
    request = json.dumps({"jsonrpc": "2.0", "id": 1, "method": "methods"})
    answer = subprocess.run(["bivistactl", "session"], input=request, capture_output=True, text=True, check=True).stdout
    return json.loads(answer)["result"]


def comments():
    """The comment of each method in the .hal files, without its markers."""
    found = {}
    for version in ("1.0", "1.1"):
        text = (INTERFACES / version / "IBivista.hal").read_text(encoding="utf-8")
        for match in re.finditer(r"    /\*\*\n((?:     \*.*\n)+)    (\w+)\(", text):
            found[match[2]] = re.sub(r"(?m)^     \*/?[ ]?", "", match[1]).strip()
    return found


def reworded(part):
    for pattern, words in REWORDED:
        part = re.sub(pattern, words, part)
    return part


def documentation(method, comment):
    # What a status becomes is said of all methods once; a callback is never given.
    parts = re.split(r"\n(?=@)", comment)
    kept = [part for part in parts if not re.match(r"@return status always|@param cb", part)]
    if method["name"] == "sendAtCommand":
        kept[0] += "\n\nThe lines also go to the subscriptions of at_lines(), if there are any."
    text = "\n".join(reworded(part) for part in kept)
    return textwrap.indent(text, " " * 8).strip() + ("\n" + " " * 8 if "\n" in text else "")


def code(method, comment, client):
    taken = [each for each in method["parameters"] if each["name"] != "cb"]
    kind, read = VALUES[method["value"]]
    names = ", ".join(each["name"] if each["type"] != "uint32[]" else f"list({each['name']})" for each in taken)
    call = f"{client['wait']}self._call(\"{method['name']}\", [{names}], timeout)"
    return METHOD.format(define=client["define"], python=python_name(method["name"]), type=kind, body=read.format(call),
                         parameters="".join(f", {each['name']}: {PARAMETERS[each['type']]}" for each in taken),
                         documentation=documentation(method, comment))


def main(arguments):
    folder = pathlib.Path(arguments[0]) if arguments else PYTHON / "bivista"
    listed, described = methods(), comments()
    for name, client in CLIENTS:
        text = HEAD.format(**client) + "".join(code(each, described[each["name"]], client) for each in listed)
        (folder / name).write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main(sys.argv[1:])
