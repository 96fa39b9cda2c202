"""The commands in the text of a document.

A command stands in a block marked `sh` (`sh phone`, `sh package`: where it is typed), or is inline
code that begins with a program we know, followed by an argument.
"""
import dataclasses
import os
import re
import shlex
import subprocess

# What the word behind `sh` may be, and inline commands that are typed there.
PLACES = {
    "host": (),
    "phone": ("adb", "atest", "lshal", "m", "mmm"),
    "package": ("apt", "journalctl", "sudo", "systemctl", "systemd-analyze", "udevadm"),
}
# Inline code that begins with one of these is a command, and so is what begins with a path into build/.
HOST_PROGRAMS = (
    "./run.sh", "./test.sh", "bench/run.sh", "bivista-emulator", "bivista-vts", "bivistactl", "cat",
    "cmake", "ctest", "curl", "gdb", "ls", "man", "python3", "vts/emulated.sh", "vts/mutate.py",
)
SHELLS = {"sh": "bash", "zsh": "zsh"}
FENCE = re.compile(r"( *)```(.*)$")
INDENTED = re.compile(r"    +(\S.*)$")
INLINE = re.compile(r"`([^`]+)`")
ASSIGNMENT = re.compile(r"[A-Za-z_]+=")
# Words that stand apart are a picture's, or a table's.
DRAWN = re.compile(r"\S {3,}\S")
EXIT_STATUS = re.compile(r"\bexits (\d+)\b")


@dataclasses.dataclass(frozen=True)
class Command:
    """One command, of several lines where they belong together, without the comment behind it."""
    line: int
    text: str
    comment: str = ""

    def statuses(self):
        """The exit statuses that are right: a comment may tell another than 0, or that nothing is found."""
        told = EXIT_STATUS.search(self.comment)
        if told:
            return {int(told.group(1))}
        return {1} if self.comment.startswith("nothing") else {0}


@dataclasses.dataclass(frozen=True)
class Block:
    """What one shell runs from its first command to its last."""
    path: str
    place: str
    commands: tuple
    shell: str = "bash"

    def mentions(self, pattern):
        return any(re.search(pattern, command.text) for command in self.commands)


class Unreadable(Exception):
    """A document whose commands cannot be told: FILE:LINE: why."""


def split_comment(line):
    """A line without the comment at its end, and that comment."""
    quote = ""
    for place, letter in enumerate(line):
        if quote:
            quote = "" if letter == quote else quote
        elif letter in "'\"":
            quote = letter
        elif letter == "#" and (place == 0 or line[place - 1].isspace()):
            return line[:place].rstrip(), line[place + 1:].strip()
    return line.rstrip(), ""


def is_whole(text, shell):
    """Whether a shell would run this without asking for another line."""
    return not text.endswith("\\") and subprocess.run(
        [shell, "-n", "-c", text], capture_output=True, check=False).returncode == 0


def commands_of(path, first, lines, shell):
    """The commands of a block whose lines begin at `first`."""
    commands = []
    begun, pending, comments = 0, "", []
    for number, line in enumerate(lines, first):
        text, comment = split_comment(line)
        if not text and not pending:
            continue
        begun = begun if pending else number
        pending = f"{pending}\n{text}" if pending else text
        comments.append(comment)
        if is_whole(pending, shell):
            commands.append(Command(begun, pending, " ".join(filter(None, comments))))
            pending, comments = "", []
    if pending:
        raise Unreadable(f"{path}:{begun}: no whole command: {pending}")
    return tuple(commands)


def program_of(text):
    """The program of a command line that is more than a name; None where there is none."""
    try:
        words = shlex.split(text)
    except ValueError:
        return None
    while words and ASSIGNMENT.match(words[0]):
        words.pop(0)
    return words[0] if len(words) > 1 else None


def place_of(text):
    """Where an inline text is typed; None for what is no command."""
    program = program_of(text)
    if program is None:
        return None
    for place, programs in PLACES.items():
        if program in programs:
            return place
    known = program in HOST_PROGRAMS or program.startswith("build/")
    return "host" if known else None


def inline_blocks(path, number, line):
    for text in INLINE.findall(line):
        place = place_of(text)
        if place:
            yield Block(path, place, (Command(number, text),))


def refuse_unmarked(path, number, line):
    """Commands that stand where nothing marks them would escape the check."""
    text = split_comment(line.strip())[0]
    if not DRAWN.search(text) and place_of(text):
        raise Unreadable(f"{path}:{number}: a command outside of a block marked sh: {line.strip()}")


def fenced(path, number, info, lines):
    """The block between two fences, whose text begins at line `number`; None when it holds no commands."""
    shell, _, place = info.strip().partition(" ")
    if shell not in SHELLS:
        for offset, line in enumerate(lines):
            refuse_unmarked(path, number + offset, line)
        return None
    place = place or "host"
    if place not in PLACES:
        raise Unreadable(f"{path}:{number - 1}: no place '{place}'; there are: {', '.join(PLACES)}")
    return Block(path, place, commands_of(path, number, lines, SHELLS[shell]), SHELLS[shell])


def blocks(path, text):
    """All that is to be run of a document, in order."""
    fence, first, info, inside = None, 0, "", []
    for number, line in enumerate(text.split("\n"), 1):
        mark = FENCE.match(line)
        if fence is None and mark:
            fence, first, info, inside = mark.group(1), number + 1, mark.group(2), []
        elif fence is None:
            if INDENTED.match(line):
                refuse_unmarked(path, number, line)
            yield from inline_blocks(path, number, line)
        elif mark and mark.group(2).strip() == "":
            block = fenced(path, first, info, inside)
            fence = None
            if block and block.commands:
                yield block
        else:
            inside.append(line.removeprefix(fence))
    if fence is not None:
        raise Unreadable(f"{path}:{first - 1}: a block without an end")


def read_documents(paths):
    """The blocks of documents, in order."""
    found = []
    for path in paths:
        with open(path, encoding="utf-8") as file:
            found.extend(blocks(os.path.normpath(path), file.read()))
    return found
