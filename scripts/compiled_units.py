"""Filters the source files named on standard input to those that the build compiles.

clang-tidy needs a compile command; a source that no target names is an error of its own.
"""
import json
import os
import sys

# Sources that only some builds compile.
CONDITIONAL = {"host/hidl/TsanRefBase.cpp"}


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        compiled = {os.path.realpath(entry["file"]) for entry in json.load(file)}
    missing = []
    for line in sys.stdin:
        path = line.strip()
        if os.path.realpath(path) in compiled:
            print(path)
        elif path not in CONDITIONAL:
            missing.append(path)
    if missing:
        print("not part of any target: " + " ".join(missing), file=sys.stderr)
        return 1
    return 0


sys.exit(main())
