# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Diagrams against recordings: what a diagram says is sent was sent in this order, and nothing else between.

A diagram names its recording. The messages to these participants are compared, as far as it draws them; not those of an
`opt`, and repeated ones count once. The recordings are kept right by the tests that replay them.
"""
import json
import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
RECORDED = re.compile(r"^' Recorded: (.*)$", re.MULTILINE)
# To the cover's tty, its panel, kernel nodes; to power/control, where each exchange votes.
MESSAGE = re.compile(r"^ *\w+ -> (tty|panel|node|vote) : (.*)$")
VOTES = "power/control"


def drawn(text):
    """[(participant, message)] of a diagram."""
    inside_option = False
    for line in text.splitlines():
        if line.startswith("opt "):
            inside_option = True
        elif line == "end":
            inside_option = False
        match = MESSAGE.match(line)
        if match and not inside_option:
            yield match.groups()


def report(data):
    """A frame's output report."""
    return f"report {data[0]}: {int.from_bytes(data[1:3], 'little')} bytes at {int.from_bytes(data[3:7], 'little')}"


def sent(entry):
    """(participant, message) of a journal's entry, or None."""
    data = entry.get("bytes", "").encode().decode("unicode_escape").encode("latin-1")
    match entry["kind"]:
        case "tty-rx":
            return "tty", data.decode().removesuffix("\r")
        case "node-write" if entry["path"].endswith(VOTES):
            return "vote", data.decode()
        case "node-write":
            return "node", f"{entry['path'].rpartition('/')[2]}: {data.decode()}"
        case "hid-get":
            return "panel", f"get report {data[0]}"
        case "hid-set":
            return "panel", f"set report {data[0]}: {data[1:].hex(' ').upper()}"
        case "hid-write":
            return "panel", report(data)
    return None


def once(messages):
    """Messages without those that repeat the one before."""
    return [each for at, each in enumerate(messages) if at == 0 or messages[at - 1] != each]


class DiagramsTest(unittest.TestCase):
    def test_diagrams_show_what_is_sent(self):
        paths = sorted((ROOT / "docs/diagrams").glob("*.puml"))
        self.assertEqual([path.stem for path in paths], ["attach", "exchange", "frame", "power", "recovery", "upgrade"])
        for path in paths:
            with self.subTest(diagram=path.name):
                text = path.read_text(encoding="utf-8")
                shown = once([*drawn(text)])
                self.assertTrue(shown)
                recording = (ROOT / RECORDED.search(text)[1]).read_text(encoding="utf-8").splitlines()[1:]
                happened = once([each for each in map(sent, map(json.loads, recording))
                                 if each and each[0] in {participant for participant, _ in shown}])
                runs = [happened[at:at + len(shown)] for at in range(len(happened))]
                self.assertIn(shown, runs, f"not in this order in {RECORDED.search(text)[1]}")

    def test_a_diagram_that_differs_is_found(self):
        self.assertEqual([*drawn("a -> tty : ATE0\nopt rare\n    a -> tty : AT\nend\ngroup x\n    a -> node : n: 1\nend\nb --> tty : X")],
                         [("tty", "ATE0"), ("node", "n: 1")])
        self.assertEqual(once([1, 1, 2, 1]), [1, 2, 1])
        self.assertEqual(sent({"kind": "hid-set", "path": "/dev/hidraw0", "bytes": "\\x03\\x02Z"}), ("panel", "set report 3: 02 5A"))
        self.assertEqual(sent({"kind": "node-write", "path": "/a/power/control", "bytes": "on"}), ("vote", "on"))
        self.assertIsNone(sent({"kind": "attach", "path": "1-1"}))


if __name__ == "__main__":
    unittest.main()
