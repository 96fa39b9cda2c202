"""Filters the source files named on standard input to those that the build compiles.

usage: compiled_units.py COMPILE_COMMANDS FOLDER

clang-tidy needs a compile command, and checks a file once for each that it finds: FOLDER gets a
compile_commands.json with the first one of each file. A source that no target names is an error of
its own.
"""
import json
import os
import sys

# Sources that only some builds compile.
CONDITIONAL = {"host/hidl/TsanRefBase.cpp"}


def main():
    database, folder = sys.argv[1:]
    compiled = {}
    with open(database, encoding="utf-8") as file:
        for entry in json.load(file):
            compiled.setdefault(os.path.realpath(entry["file"]), entry)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, "compile_commands.json"), "w", encoding="utf-8") as file:
        json.dump(list(compiled.values()), file)
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
