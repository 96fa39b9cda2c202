# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""A journal as the agreement compares it: what is no fact about the service is taken away here, and nowhere else."""
import dataclasses
import json
import re

# Each is a stream: the kernel joins and splits its pieces as it likes. They are compared by the commands and
# answers of the stream, which end so. A cover that goes ends the stream.
STREAM_ENDS = {"tty-rx": r"(?<=\r)", "tty-tx": r"(?<=\r\nOK\r\n)|(?<=\r\nERROR\r\n)"}
# Questions that whoever waits for the service repeats, as often as its own pace has it.
POLLS = ("IBivista.getBV2Connect", "IBivista.getSubDisplayPowerState")
# The kernel's driver waits 50 ms at the first open of a hidraw node, and not at all at others. A busy machine's clock
# has shown 34 ms.
FIRST_OPEN_US = 20_000
ESCAPED = re.compile(r"\\(x[0-9A-Fa-f]{2}|.)", re.DOTALL)
SIGNS = {"r": "\r", "n": "\n", "t": "\t"}


class Useless(Exception):
    """A file is no journal, or no table of differences; says where and why."""


@dataclasses.dataclass(frozen=True)
class Entry:
    kind: str
    path: str = ""
    bytes: str = ""  # as they are; a sign each
    note: str = ""

    def text(self):
        """In one line, as tables show it and as the rows' patterns match it."""
        words = (self.path, escape(self.bytes), f"({self.note})" if self.note else "")
        return " ".join(word for word in words if word)


def escape(text):
    return "".join(next((f"\\{name}" for name, one in SIGNS.items() if one == sign), None)
                   or (f"\\{sign}" if sign == "\\" else sign if " " <= sign <= "~" else f"\\x{ord(sign):02x}")
                   for sign in text)


def unescape(text):
    def sign(match):
        word = match[1]
        return chr(int(word[1:], 16)) if len(word) == 3 else SIGNS.get(word, word)
    return ESCAPED.sub(sign, text)


def parse(path):
    """The entries of a file as they are there, in the order of their begin; without the header of a recording."""
    entries = []
    for number, line in enumerate(path.read_text().splitlines(), 1):
        try:
            entry = json.loads(line)
            if "recording" not in entry:
                entries.append((entry["time_us"], entry["seq"], str(entry["kind"]), entry))
        except (ValueError, TypeError, KeyError) as error:
            raise Useless(f"{path}:{number}: no entry of a journal: {error!r}") from error
    return [entry for _, _, _, entry in sorted(entries, key=lambda each: each[:2])]


def read(path):
    """The entries that are compared: of each part, which begins with a mark, by kind, each kind in its order."""
    parts, streams = {}, {}
    kinds = parts.setdefault("", {})
    for raw in parse(path):
        kind, where = raw["kind"], raw.get("path", "")
        text = unescape(raw.get("bytes", ""))
        if kind in STREAM_ENDS:
            streams[kind, where] = streams.get((kind, where), "") + text
            continue
        if kind in ("detach", "mark"):
            finish(streams, kinds)
        if kind == "mark":
            kinds = parts.setdefault(text, {})
        elif not (kind == "client-call" and where in POLLS):
            kinds.setdefault(kind, []).append(Entry(kind, where, text, note_of(raw)))
    finish(streams, kinds)
    return {name: kinds for name, kinds in parts.items() if kinds}


def note_of(raw):
    note = unescape(raw.get("note", ""))
    if raw["kind"] == "hid-open":
        note += ", waits" if raw.get("duration_us", 0) >= FIRST_OPEN_US else ", at once"
    return note


def finish(streams, kinds):
    """Adds what has passed in each stream, and empties it."""
    for (kind, where), text in streams.items():
        pieces = [piece for piece in re.split(STREAM_ENDS[kind], text) if piece]
        kinds.setdefault(kind, []).extend(Entry(kind, where, piece) for piece in pieces)
    streams.clear()
