# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Looks at what clang makes of the packing loop for the phone's processor, and prints a row
(bench/Row.h): the instructions of its longest loop that load or store single words or bytes, of which
there may be none."""
import json
import pathlib
import re
import subprocess

SOURCE = pathlib.Path(__file__).resolve().parents[2] / "sub_display/PackFrame.cpp"
COMPILE = ("clang++", "--target=aarch64-linux-gnu", "-std=gnu++17", "-O2", "-I", SOURCE.parents[1],
           "-S", "-o", "-", SOURCE)
LABEL = re.compile(r"(\.\w+):")
SINGLE = re.compile(r"\t(ldrb|strb|ldur?b|sturb|(ldr|ldp|ldur|str|stp|stur)\tw)")
WHOLE = re.compile(r"\t(ld\d\t\{|(ldr|ldp|ldur)\tq)")


def longest_loop(lines):
    """From a label to the jump back to it, without other labels between."""
    longest, label, body = [], None, []
    for line in lines:
        if found := LABEL.match(line):
            label, body = found[1], []
            continue
        body.append(line)
        if label and line.startswith("\tb") and line.split()[-1] == label and len(body) > len(longest):
            longest = list(body)
    return longest


def main():
    assembler = subprocess.run(COMPILE, capture_output=True, text=True, check=True).stdout
    loop = longest_loop(assembler.splitlines())
    if not any(WHOLE.match(line) for line in loop):
        raise SystemExit(f"no loop over whole vectors in {SOURCE}")
    single = sum(bool(SINGLE.match(line)) for line in loop)
    print(json.dumps({"name": "packing on arm64: loads and stores of single words", "unit": "",
                      "value": single, "reference": 0, "ratio": single, "limit": 0}))


main()
