# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Rules of this project that no compiler checks.

- The rooms of the table ROOMS hold no conditional compilation for the platform. They include the
  standard library, each other as the table allows, and libraries: the device folders Linux and the public
  headers of Android, the conformance suite GoogleTest and HIDL, so that it sees nothing of the service but
  its interface, the timeline one for JSON, the gadget Linux, and the cover's model none. No room includes
  the standard locks: those of the phone's library have destructors, which run at exit while the service's
  threads go on.
- Only vm/ itself and its tests include vm/.
- Elsewhere locks are <utils/Mutex.h>'s, whose annotations clang checks; the standard library's have none.
- Every header has `#pragma once`; no function body is longer than a screen.
- A name that a source file makes short by `using` is used there; null pointers are `nullptr`.
- The guide to the interface has every method of it.
- C++ that the guide for clients shows is in an example, line by line.
- Links of documents lead to files and headings that are there.
- A comment `Meant: quirk NAME` names a row of the table of quirks.

The module of the kernel in vm/module/ is C in the kernel's own style.

Prints one line per finding; exits 1 when there is one. Run from the project's root.
"""
import os
import re
import subprocess
import sys

import links

OBJECT = "kernel/Bivista.h"
COUNTS = "diagnostics/Statistics.h"
# Folder: the project's headers that it may include, as docs/architecture.md draws them. Sources may
# include the service object, but not those of PURE; headers may not, so that few files hang on it.
PURE = {"kernel/base", "emulator/cover", "emulator/phonelog", "emulator/recording", "emulator/timeline",
        "vm/gadget", "vts/functional"}
ROOMS = {
    "service": ("kernel/base/",),
    "diagnostics": ("diagnostics/", "display/", "sub_display/", "kernel/"),
    "display": ("display/", COUNTS, "kernel/base/", "kernel/serial/"),
    "sub_display": ("sub_display/", COUNTS, "kernel/base/", "kernel/hid/"),
    # The members' declarations: what the subjects hold.
    "kernel": ("kernel/", COUNTS),
    "kernel/usb": ("kernel/usb/", COUNTS, "kernel/base/", "kernel/hid/", "kernel/serial/"),
    "kernel/firmware": ("kernel/firmware/", COUNTS, "kernel/base/", "kernel/serial/"),
    "kernel/serial": ("kernel/serial/", COUNTS, "kernel/base/"),
    "kernel/hid": ("kernel/hid/", COUNTS, "kernel/base/"),
    "kernel/base": ("kernel/base/",),
    "emulator/cover": ("emulator/cover/",),
    "emulator/timeline": ("emulator/timeline/", "emulator/cover/", "emulator/phone/Entry.h",
                          "kernel/base/CommandName.h"),
    "emulator/recording": ("emulator/recording/", "emulator/cover/", "emulator/phone/Entry.h",
                           "emulator/timeline/"),
    "emulator/phonelog": ("emulator/phonelog/", "emulator/cover/", "emulator/phone/Entry.h",
                          "emulator/phone/Paths.h", "emulator/recording/", "cli/"),
    "vm/gadget": ("vm/gadget/", "emulator/cover/", "emulator/phone/Error.h", "emulator/phone/backend/Device.h"),
    "vts/functional": ("vts/functional/",),
}
# What includes it: itself and its tests.
OUTERMOST = "vm/"
# The headers of other libraries than the standard one that a room may include.
LIBRARIES = {
    "emulator/cover": (),
    "emulator/timeline": ("nlohmann/json.hpp",),
    "emulator/phonelog": ("nlohmann/json.hpp", "strings.h"),
    "emulator/recording": ("nlohmann/json.hpp",),
    "vm/gadget": ("linux/",),
    # libutils is a part of HIDL: android::sp is from there, too.
    "vts/functional": ("gtest/", "hidl/", "utils/Mutex.h", "vendor/qmx/hardware/bivista/"),
}
DEVICE_LIBRARIES = (
    "android/log.h", "cutils/", "hidl/", "usbhost/", "utils/RefBase.h", "utils/StrongPointer.h",
    "vendor/qmx/hardware/", "linux/", "sys/", "dirent.h", "fcntl.h", "libgen.h", "link.h", "poll.h", "pthread.h",
    "sched.h", "strings.h", "termios.h", "unistd.h",
)
# Instead of these: kernel/base/Mutex.h.
STANDARD_LOCKS = {"condition_variable", "mutex", "shared_mutex"}
LONGEST_FUNCTION = 60

GUIDE = "docs/interface.md"
CLIENTS = "docs/clients.md"
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
SAMPLE = re.compile(r"^```cpp\n(.*?)^```$", re.MULTILINE | re.DOTALL)
ROW = re.compile(r"^\| `([\w-]+)` \|", re.MULTILINE)
FUNCTION_START = re.compile(r"^(?!namespace|class|struct|enum|extern|const)[^\s#/}].*\{$")


def room_of(path):
    """The folder of a path, or the next one above it, that is a room; None when there is none."""
    folder = os.path.dirname(path)
    while folder and folder not in ROOMS:
        folder = os.path.dirname(folder)
    return folder or None


def may_include(path, room, bracket, header):
    if bracket == '"':
        included = header if "/" in header else f"{os.path.dirname(path)}/{header}"
        if included == OBJECT:
            return room not in PURE and path.endswith(".cpp")
        return included.startswith(ROOMS[room])
    if re.fullmatch(r"[a-z_0-9]+", header):
        return header not in STANDARD_LOCKS
    return header.startswith(LIBRARIES.get(room, DEVICE_LIBRARIES))


def lint_includes(path, number, line):
    match = INCLUDE.match(line)
    if match and match[2].startswith(OUTERMOST) and not path.removeprefix("tests/").startswith(OUTERMOST):
        yield f"{path}:{number}: nothing includes {OUTERMOST} but its tests"
        return
    room = room_of(path)
    if not room:
        return
    if match and not may_include(path, room, *match.groups()):
        yield f"{path}:{number}: {room}/ may not include {match[2]}"
    match = CONDITIONAL.match(line)
    if match and "__clang__" not in match[1]:
        yield f"{path}:{number}: no conditional compilation in {room}/"


def lint_functions(path, lines):
    start = None
    for number, line in enumerate(lines, 1):
        if FUNCTION_START.match(line):
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


def lint_samples(guide, examples):
    lines = {line for example in examples for line in example.split("\n")}
    for sample in SAMPLE.findall(guide):
        for line in sample.splitlines():
            if line not in lines:
                yield f"{CLIENTS}: no example has: {line.strip()}"


def lint_quirks(path, text, quirks):
    for match in QUIRK.finditer(text):
        if match.group(1) not in ROW.findall(quirks):
            line = text.count("\n", 0, match.start()) + 1
            yield f"{path}:{line}: {QUIRKS} has no `{match.group(1)}`"


def files(*patterns):
    return subprocess.run(["git", "ls-files", *patterns], capture_output=True, text=True,
                          check=True).stdout.split()


def main():
    names = files("*.cpp", "*.h", ":!vm/module")
    findings = []
    quirks = links.read(QUIRKS)
    for path in names:
        text = links.read(path)
        findings.extend([*lint(path, text), *lint_quirks(path, text, quirks)])
    for interface in files("interfaces/bivista/*/IBivista.hal"):
        findings.extend(lint_guide(links.read(interface), links.read(GUIDE)))
    findings.extend(lint_samples(links.read(CLIENTS), [links.read(path) for path in files("examples/*.cpp")]))
    for path in files("*.md"):
        findings.extend(links.check(path, links.read(path), links.read))
    print(*findings, sep="\n", end="\n" if findings else "")
    return 1 if findings or not names else 0


if __name__ == "__main__":
    sys.exit(main())
