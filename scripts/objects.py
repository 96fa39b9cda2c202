# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Looks at the objects of the phone: how they were compiled, and their symbols.

usage: llvm-nm -A OBJECT... | objects.py COMPILE_COMMANDS [--cfi]

Every source is compiled with the phone's flags. No object throws or catches, nor holds or asks for
run-time type information; among them all there is the stack protector and, with --cfi, checks of
indirect calls. Prints one line per finding; exits 1 when there is one.
"""
import json
import re
import sys

# (object, symbol) of a line of llvm-nm.
SYMBOL = re.compile(r"^(\S+): .*\b[A-Za-z] (\S+)$", re.MULTILINE)
THROWS = re.compile(r"__cxa_(throw|rethrow|allocate_exception|begin_catch|end_catch)"
                    r"|__gxx_personality_v0|_Unwind_Resume|GCC_except_table\d*")
KNOWS_TYPES = re.compile(r"_ZT[IS].*|__dynamic_cast|__cxa_bad_(cast|typeid)")
FLAGS = ("--target=aarch64-linux-gnu", "-std=gnu++17", "-O2", "-fno-exceptions", "-fno-rtti",
         "-fstack-protector-strong", "-D_FORTIFY_SOURCE=2")
# Sources that hidl-gen wrote are compiled without these.
WARNINGS = ("-Wall", "-Wextra", "-Werror")
# What must be there, and how it shows.
HARDENING = {"stack protector": re.compile(r"__stack_chk_fail")}
CFI = {"checks of indirect calls": re.compile(r".*\.cfi(_jt)?")}


def check_flags(commands):
    """`commands`: the entries of a compile_commands.json."""
    for entry in commands:
        given = entry["command"].split()
        wanted = FLAGS if "/generated/" in entry["file"] else FLAGS + WARNINGS
        for flag in wanted:
            if flag not in given:
                yield f"{entry['file']}: compiled without {flag}"
    if not commands:
        yield "nothing was compiled"


def check_symbols(text, hardening):
    found = SYMBOL.findall(text)
    for file, name in found:
        if THROWS.fullmatch(name):
            yield f"{file}: exceptions: {name}"
        if KNOWS_TYPES.fullmatch(name):
            yield f"{file}: run-time type information: {name}"
    for what, shape in hardening.items():
        if not any(shape.fullmatch(name) for _, name in found):
            yield f"no {what} in {len({file for file, _ in found})} objects"


def main():
    hardening = {**HARDENING, **(CFI if "--cfi" in sys.argv[2:] else {})}
    with open(sys.argv[1], encoding="utf-8") as file:
        commands = json.load(file)
    findings = [*check_flags(commands), *check_symbols(sys.stdin.read(), hardening)]
    print(*findings, sep="\n", end="\n" if findings else "")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
