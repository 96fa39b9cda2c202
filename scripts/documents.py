#!/usr/bin/env -S python3 -B
"""Runs the commands of the documents, and tells which fail, as FILE:LINE: COMMAND: exit N.

usage: scripts/documents.py [--list | --bare] [DOCUMENT...]

The commands are those of blocks marked `sh` and of inline code; an exit status other than 0 is right
where a comment behind the command says "exits N", or "nothing" of what is found. They run in the
project's root, or in a folder like it where they use files of the reader's, with the phone of
./run.sh up. What is done in the place of a command is in document_rules.py.

  --list  print the commands and what is run, and run nothing
  --bare  print a script of those marked `sh package`, for a machine without this folder

Exit status: 0 all commands do what the documents say, 1 some do not, 2 usage, or no phone.
"""
import itertools
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import time

import document_bare
import document_phone
import document_rules
import document_shell
import document_text

ROOT = pathlib.Path(__file__).resolve().parent.parent
STAND_INS = ROOT / "scripts/stand-ins"
# The folders of a place's programs, ahead of all others.
PROGRAMS = {"host": ("host",), "phone": ("phone", "host"), "package": ("package", "machine", "host")}
# What the reader brings.
FRAME, FRAME_BYTES = "frame.bin", 4 * 256 * 64
MADE = ("panel.png", "host.prop")
READERS = re.compile("|".join(re.escape(name) for name in (FRAME, *MADE)))
USES_PHONE = re.compile(r"\b(?:bivista-emulator|bivistactl|bivista-vts|emulated\.sh|adb)\b")


def git(*words):
    return subprocess.run(["git", *words], cwd=ROOT, capture_output=True, text=True, check=True).stdout


def make_readers_folder(folder):
    """A folder like the project's root, whose files the reader may add to."""
    for name in os.listdir(ROOT):
        if name != ".git":
            os.symlink(ROOT / name, folder / name)
    (folder / FRAME).write_bytes(bytes(FRAME_BYTES))
    return folder


def environment(block, registry):
    folders = [str(STAND_INS / name) for name in PROGRAMS[block.place]]
    path = os.pathsep.join([*folders, str(ROOT / "build/release/bin"), os.environ["PATH"]])
    return {**os.environ, "PATH": path, "HIDL_SOCKET_DIR": str(registry)}


def run_block(block, registry, readers_folder):
    """Gives the lines that tell what failed. Who runs a phone of his own has a registry of his own."""
    folder = readers_folder if block.mentions(READERS) else ROOT
    with tempfile.TemporaryDirectory(prefix="bivista-own-") as own:
        if document_rules.runs_phone(block):
            registry = own
        return document_shell.run(block.shell, document_rules.steps(block), folder,
                                  environment(block, registry))


def run_document(blocks, phone, readers_folder):
    """Runs the blocks of a document in order. Gives the number of those in which something failed."""
    started = time.monotonic()
    failures = 0
    for block in blocks:
        if block.mentions(USES_PHONE):
            phone.make_anew()
        lines = run_block(block, phone.registry, readers_folder)
        print(*lines, sep="\n", end="\n" if lines else "", flush=True)
        failures += bool(lines)
    commands = sum(len(block.commands) for block in blocks)
    print(f"{blocks[0].path}: {commands} commands, {time.monotonic() - started:.0f} s", flush=True)
    return failures


def run_all(blocks, work):
    """Runs all blocks with one phone. Gives the number of failures, which it has told."""
    (work / "registry").mkdir(mode=0o700)
    (work / "reader").mkdir()
    readers_folder = make_readers_folder(work / "reader")
    phone = document_phone.Phone(str(work / "registry"), work / "run.log")
    try:
        failures = sum(run_document(list(of_document), phone, readers_folder)
                       for _, of_document in itertools.groupby(blocks, lambda block: block.path))
    finally:
        wrong = phone.end()
    if wrong:
        print(wrong)
    return failures + bool(wrong)


def print_list(blocks):
    for block in blocks:
        for command in block.commands:
            rule = document_rules.find(block, command)
            print(f"{block.path}:{command.line}: [{block.place}] {command.text}")
            if rule:
                print(f"    {document_rules.to_run(block, command)}    # {rule.reason}")


def check(blocks):
    before = git("status", "--porcelain")
    with tempfile.TemporaryDirectory(prefix="bivista-documents-") as work:
        try:
            failures = run_all(blocks, pathlib.Path(work))
        except document_phone.Down as error:
            print(f"error: {error}", file=sys.stderr)
            return 2
    after = git("status", "--porcelain")
    if after != before:
        print(f"the commands have changed the project's files:\n{after}")
        failures += 1
    commands = sum(len(block.commands) for block in blocks)
    bare = sum(len(block.commands) for block in blocks if block.place == "package")
    print(f"{commands} commands of documents; {bare} of them are run to the letter by ./test.sh --package")
    return 1 if failures else 0


def main(arguments):
    option = arguments.pop(0) if arguments and arguments[0].startswith("-") else None
    if option not in (None, "--list", "--bare"):
        print(__doc__.split("\n\n")[1], file=sys.stderr)
        return 2
    os.chdir(ROOT)
    # Ctrl-C ends phones and commands, also where whoever started this ignores it; and so does being ended.
    signal.signal(signal.SIGINT, signal.default_int_handler)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    try:
        blocks = document_text.read_documents(arguments or git("ls-files", "*.md").split())
    except (document_text.Unreadable, OSError) as error:
        print(error)
        return 1
    if option == "--list":
        print_list(blocks)
    elif option == "--bare":
        sys.stdout.write(document_bare.script(blocks))
    else:
        return check(blocks)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
