# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Rules of this project that no compiler checks.

- The device folders (service, kernel, diagnostics, display, sub_display) hold no conditional compilation for the
  platform, and include nothing but the standard library, Linux, the public headers of the Android
  libraries that they use, and each other as the table ROOMS allows. None of the standard locks:
  those of the phone's library have destructors, which run at exit while the service's threads go on.
- Elsewhere locks are <utils/Mutex.h>'s, whose annotations clang checks; the standard library's have none.
- The conformance suite includes the standard library, GoogleTest, HIDL and itself alone, so that it
  sees nothing of the service but its interface, and has no conditional compilation either.
- The cover's model includes the standard library and itself alone.
- Every header has `#pragma once`; no function body is longer than a screen.
- A name that a source file makes short by `using` is used there; null pointers are `nullptr`.
- The guide to the interface has every method of it.
- Links of documents lead to files and headings that are there.
- A comment `Meant: quirk NAME` names a row of the table of quirks.

Prints one line per finding; exits 1 when there is one. Run from the project's root.
"""
import os
import re
import subprocess
import sys

import links

ANDROID = (
    "android/log.h", "cutils/", "hidl/", "usbhost/", "utils/RefBase.h", "utils/StrongPointer.h",
    "vendor/qmx/hardware/",
)
LINUX = ("linux/", "sys/")
LINUX_FILES = {"dirent.h", "fcntl.h", "libgen.h", "poll.h", "pthread.h", "sched.h", "strings.h",
               "termios.h", "unistd.h"}
# Instead of these: kernel/base/Mutex.h.
STANDARD_LOCKS = {"condition_variable", "mutex", "shared_mutex"}
OBJECT = "kernel/Bivista.h"
COUNTS = "diagnostics/Statistics.h"
# Folder: the project's headers that it may include, as docs/architecture.md draws them. Sources may
# include the service object; headers may not, so that few files hang on it.
ROOMS = {
    "service": ("kernel/base/",),
    "diagnostics": ("diagnostics/", "display/", "sub_display/", "kernel/"),
    "display": ("display/", "kernel/base/", "kernel/serial/"),
    "sub_display": ("sub_display/", COUNTS, "kernel/base/", "kernel/hid/"),
    # The members' declarations: what the subjects hold.
    "kernel": ("kernel/",),
    "kernel/usb": ("kernel/usb/", COUNTS, "kernel/base/", "kernel/hid/", "kernel/serial/"),
    "kernel/firmware": ("kernel/firmware/", COUNTS, "kernel/base/", "kernel/serial/"),
    "kernel/serial": ("kernel/serial/", COUNTS, "kernel/base/"),
    "kernel/hid": ("kernel/hid/", "kernel/base/"),
    "kernel/base": ("kernel/base/",),
}
SUITE = "vts/functional/"
# libutils is a part of HIDL: android::sp is from there, too.
SUITE_LIBRARIES = ("gtest/", "hidl/", "utils/Mutex.h", "vendor/qmx/hardware/bivista/")
LONGEST_FUNCTION = 60

INTERFACES = ("interfaces/bivista/1.0/IBivista.hal", "interfaces/bivista/1.1/IBivista.hal")
GUIDE = "docs/interface.md"
QUIRKS = "docs/quirks.md"

METHOD = re.compile(r"^    (\w+)\(", re.MULTILINE)
INCLUDE = re.compile(r'#\s*include\s*([<"])([^>"]+)[>"]')
# Not condition_variable_any, which waits with any lock.
UNCHECKED_LOCK = re.compile(r"\bstd::(\w*mutex|condition_variable)\b")
CONDITIONAL = re.compile(r"#\s*(?:if|ifdef|ifndef|elif)\b(.*)")
USING = re.compile(r"^using (?:[\w:]+::)?(\w+)(?: = .*)?;$", re.MULTILINE)
NULL = re.compile(r"(?<![\w\"'])NULL(?![\w\"'])")
COMMENT = re.compile(r"//.*")
QUIRK = re.compile(r"\bMeant:[\s/]+quirk[\s/]+([\w-]*)")
ROW = re.compile(r"^\| `([\w-]+)` \|", re.MULTILINE)
FUNCTION_START = re.compile(r"^[^\s#/}].*\{$")


def is_standard(header):
    return re.fullmatch(r"[a-z_0-9]+", header) is not None


def room_of(path):
    """The folder of a path, or the next one above it, that is a room; None when there is none."""
    folder = os.path.dirname(path)
    while folder and folder not in ROOMS:
        folder = os.path.dirname(folder)
    return folder or None


def allowed_in_room(path, room, bracket, header):
    if bracket == '"':
        if header == OBJECT:
            return room != "kernel/base" and path.endswith(".cpp")
        return header.startswith(ROOMS[room])
    if header in STANDARD_LOCKS:
        return False
    return (is_standard(header) or header.startswith(ANDROID) or header.startswith(LINUX)
            or header in LINUX_FILES)


def allowed_in_suite(bracket, header):
    if bracket == '"':
        return "/" not in header
    return is_standard(header) or header.startswith(SUITE_LIBRARIES)


def lint_includes(path, number, line):
    room = room_of(path)
    match = INCLUDE.match(line)
    if match:
        bracket, header = match.groups()
        if room and not allowed_in_room(path, room, bracket, header):
            yield f"{path}:{number}: {room}/ may not include {header}"
        if path.startswith(SUITE) and not allowed_in_suite(bracket, header):
            yield f"{path}:{number}: the conformance suite may not include {header}"
        if path.startswith("emulator/cover/"):
            own = bracket == '"' and header.startswith("emulator/cover/")
            if not own and not (bracket == "<" and is_standard(header)):
                yield f"{path}:{number}: the cover's model may not include {header}"
    match = CONDITIONAL.match(line)
    if match and (room or path.startswith(SUITE)) and "__clang__" not in match.group(1):
        yield f"{path}:{number}: no conditional compilation in {path.split('/')[0]}/"


def lint_functions(path, lines):
    start = None
    for number, line in enumerate(lines, 1):
        if FUNCTION_START.match(line) and not line.startswith(("namespace", "class", "struct",
                                                               "enum", "extern", "const")):
            start = number
        elif line.startswith("}") and start is not None:
            if number - start > LONGEST_FUNCTION:
                yield f"{path}:{start}: a function of {number - start} lines"
            start = None


def lint_names(path, text):
    for match in USING.finditer(text) if path.endswith(".cpp") else ():
        if len(re.findall(rf"\b{match.group(1)}\b", COMMENT.sub("", text))) == 1:
            yield f"{path}:{text.count(chr(10), 0, match.start()) + 1}: {match.group(1)} is not used"
    for number, line in enumerate(text.split("\n"), 1):
        code = COMMENT.sub("", line)
        if NULL.search(code):
            yield f"{path}:{number}: NULL instead of nullptr"
        lock = UNCHECKED_LOCK.search(code)
        if lock:
            yield (f"{path}:{number}: clang does not check std::{lock.group(1)}; "
                   "<utils/Mutex.h> has locks that it checks")


def lint(path, text):
    lines = text.split("\n")
    for number, line in enumerate(lines, 1):
        yield from lint_includes(path, number, line)
    if path.endswith(".h") and "#pragma once" not in text:
        yield f"{path}:1: no #pragma once"
    yield from lint_names(path, text)
    yield from lint_functions(path, lines)


def lint_guide(interface, guide):
    for method in METHOD.findall(interface):
        if f"`{method}`" not in guide:
            yield f"{GUIDE}: has no `{method}`"


def lint_quirks(path, text, quirks):
    for match in QUIRK.finditer(text):
        if match.group(1) not in ROW.findall(quirks):
            line = text.count("\n", 0, match.start()) + 1
            yield f"{path}:{line}: {QUIRKS} has no `{match.group(1)}`"


def files(*patterns):
    return subprocess.run(["git", "ls-files", *patterns], capture_output=True, text=True,
                          check=True).stdout.split()


def read(path):
    """The text of a file, nothing for a folder; None when there is neither."""
    if os.path.isdir(path):
        return ""
    if not os.path.isfile(path):
        return None
    with open(path, encoding="utf-8", errors="replace") as file:
        return file.read()


def main():
    names = files("*.cpp", "*.h")
    findings = []
    quirks = read(QUIRKS)
    for path in names:
        text = read(path)
        findings.extend([*lint(path, text), *lint_quirks(path, text, quirks)])
    for interface in INTERFACES:
        findings.extend(lint_guide(read(interface), read(GUIDE)))
    for path in files("*.md"):
        findings.extend(links.check(path, read(path), read))
    for finding in findings:
        print(finding)
    return 1 if findings or not names else 0


if __name__ == "__main__":
    sys.exit(main())
