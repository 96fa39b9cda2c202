# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of compare.py: what it takes away of a journal, what it finds, and what it refuses."""
import contextlib
import io
import json
import pathlib
import sys
import tempfile
import unittest
from unittest import mock

import compare
import journal
import known

HEADER = '{"recording":2,"program":"bivista-emulator","source":"phone"}\n'
EMPTY = "order: []\n"
OPEN = {"kind": "tty-open", "path": "/dev/ttyACM0", "note": "O_RDWR"}


def row(**members):
    """One row of the list of differences."""
    given = {"scenario": "attach", "kind": "tty-open", "when": "timing", "cause": "The reason.", **members}
    return "differences:\n  - " + "\n    ".join(f"{name}: {json.dumps(value)}" for name, value in given.items()) + "\n"


class CompareTest(unittest.TestCase):
    def setUp(self):
        self.root = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory(prefix="bivista-compare-")))
        for world in ("emulated", "kernel"):
            (self.root / world).mkdir()

    def write(self, world, *entries, name="attach"):
        lines = [json.dumps({"seq": number, "time_us": 10 * number, **entry}) + "\n"
                 for number, entry in enumerate(entries, 1)]
        (self.root / world / f"{name}.jsonl").write_text(HEADER + "".join(lines))

    def both(self, emulated, real):
        self.write("emulated", *emulated)
        self.write("kernel", *real)

    def run_it(self, table=EMPTY, *words):
        (self.root / "table.yaml").write_text(table)
        arguments = ["compare.py", "--table", f"{self.root}/table.yaml", f"{self.root}/emulated", f"{self.root}/kernel"]
        out = io.StringIO()
        with mock.patch.object(sys, "argv", arguments + list(words)), contextlib.redirect_stdout(out), \
                contextlib.redirect_stderr(out):
            status = compare.main()
        return status, out.getvalue()

    def assert_agree(self, table=EMPTY):
        status, text = self.run_it(table)
        self.assertEqual((status, text.splitlines()[-1]), (0, "both worlds agree"), text)
        return text

    def assert_differ(self, line, table=EMPTY):
        status, text = self.run_it(table)
        self.assertEqual((status, text.splitlines()[-1]), (1, "the worlds differ"), text)
        self.assertIn(line, text.splitlines())

    def test_times_and_numbers_do_not_count(self):
        self.write("emulated", OPEN)
        self.write("kernel", {**OPEN, "seq": 7, "time_us": 123, "wall_us": 99, "duration_us": 5})
        self.assertIn("attach           1     1      1      0        0", self.assert_agree().splitlines())

    def test_the_order_within_a_kind_counts_and_that_of_kinds_does_not(self):
        other, close = {**OPEN, "path": "/dev/ttyACM1"}, {"kind": "dtr", "path": "/dev/ttyACM0", "note": "raised"}
        self.both([OPEN, other, close], [close, OPEN, other])
        self.assert_agree()
        self.both([OPEN, other], [other, OPEN])
        self.assert_differ("unknown difference: attach: tty-open: emulated | real")

    def test_the_order_is_that_of_the_begin(self):
        late, early = {**OPEN, "time_us": 9}, {**OPEN, "path": "/dev/ttyACM1", "time_us": 5}
        self.both([late, early], [early, late])
        self.assert_agree()

    def test_a_tty_is_a_stream(self):
        def sent(*pieces, kind="tty-tx"):
            return [{"kind": kind, "path": "/dev/ttyACM0", "bytes": piece} for piece in pieces]
        self.both(sent("\\r\\na\\r\\nOK\\r\\n", "\\r\\nERROR\\r\\n"), sent("\\r\\na\\r\\n", "OK\\r\\n\\r\\nERR", "OR\\r\\n"))
        self.assert_agree()
        self.both(sent("AT\\r", "AT%SWV\\r", kind="tty-rx"), sent("AT\\rAT%S", "WV\\r", kind="tty-rx"))
        self.assert_agree()
        self.both(sent("\\r\\nOK\\r\\n"), sent("\\r\\nOK\\r"))
        self.assert_differ("  /dev/ttyACM0 \\r\\nOK\\r\\n".ljust(79) + "| /dev/ttyACM0 \\r\\nOK\\r")
        gone = {"kind": "detach", "path": "1-1"}
        self.both([*sent("ab"), gone, *sent("c")], [*sent("a"), gone, *sent("bc")])
        self.assert_differ("unknown difference: attach: tty-tx: emulated | real")

    def test_what_is_no_fact_about_the_service_goes_away(self):
        polls = [{"kind": "client-call", "path": path, "bytes": "[]"} for path in journal.POLLS]
        self.both([OPEN, *polls], [OPEN])
        self.assert_agree()

    def test_the_first_open_of_the_panel_waits(self):
        def opened(microseconds):
            return {"kind": "hid-open", "path": "/dev/hidraw0", "note": "O_RDONLY", "duration_us": microseconds}
        self.both([opened(50_200)], [opened(61_000)])
        self.assert_agree()
        self.both([opened(50_200)], [opened(300)])
        self.assert_differ("  /dev/hidraw0 (O_RDONLY, waits)".ljust(79) + "| /dev/hidraw0 (O_RDONLY, at once)")

    def test_bytes_are_spelt_as_in_the_journal(self):
        for text in ("\\r\\n\\t\\\\\\x00\\xff a", "\\\\r"):
            self.assertEqual(journal.escape(journal.unescape(text)), text)
        self.assertEqual(journal.unescape("\\x0d\\\\r\\\""), "\r\\r\"")

    def test_a_mark_begins_a_part(self):
        def part(number, *entries):
            return [{"kind": "mark", "bytes": str(number)}, *entries]
        self.both([*part(1, OPEN), *part(2, OPEN)], [*part(1, OPEN, OPEN), *part(2)])
        self.assert_differ("unknown difference: attach/1: tty-open: emulated | real")
        self.assert_differ("unknown difference: attach/2: tty-open: emulated | real")
        self.assert_differ("unknown difference: attach/1: tty-open: emulated | real",
                           row(scenario="attach/2", emulated=".*", real=".*"))

    def test_texts_are_compared_line_by_line(self):
        for world, text in (("emulated", "a\nb\n"), ("kernel", "a\nc\n")):
            (self.root / world / "probe.txt").write_text(text)
        self.assert_differ("  b".ljust(79) + "| c")

    def test_a_row_knows_its_difference_and_no_other(self):
        other = {**OPEN, "note": "O_RDONLY"}
        self.both([OPEN, OPEN], [OPEN, other])
        right = {"emulated": ".*O_RDWR.*", "real": ".*O_RDONLY.*"}
        text = self.assert_agree(row(**right))
        self.assertIn("    1  attach: tty-open: emulated .*O_RDWR.*, real .*O_RDONLY.*\n       The reason.\n", text)
        self.assertIn("tty-open         2     2     1      1        0\n", text)
        unknown = "unknown difference: attach: tty-open: emulated | real"
        for wrong in ({"emulated": ".*O_RDWR.*"}, {"real": ".*O_RDONLY.*"}, {**right, "scenario": "screen"},
                      {**right, "kind": "dtr"}, {**right, "real": "O_RDONLY"}):
            self.assert_differ(unknown, row(**wrong))

    def test_a_group_of_both_patterns_must_be_the_same(self):
        other = {**OPEN, "path": "/dev/ttyACM1", "note": "O_RDONLY"}
        table = row(emulated=r"(?P<node>\S+) \(O_RDWR\)", real=r"(?P<node>\S+) \(O_RDONLY\)")
        self.both([OPEN], [{**OPEN, "note": "O_RDONLY"}])
        self.assert_agree(table)
        self.both([OPEN], [other])
        self.assert_differ("unknown difference: attach: tty-open: emulated | real", table)

    def test_one_sided_rows_take_each_entry_of_their_world(self):
        self.both([], [OPEN, OPEN])
        self.assertIn("    2  attach: tty-open: real .*\n", self.assert_agree(row(real=".*")))
        self.both([OPEN, OPEN], [])
        self.assertIn("    2  attach: tty-open: emulated .*\n", self.assert_agree(row(emulated=".*")))

    def test_rows_of_order_compare_their_entries_apart(self):
        ports = [{**OPEN, "path": f"/dev/ttyACM{number}"} for number in range(3)]
        table = "order:\n  - {scenario: attach, kind: tty-open, apart: '.*ACM1.*', cause: Two threads.}\n"
        self.both(ports, [ports[1], ports[0], ports[2]])
        self.assertIn("    1  attach: tty-open: seen .*ACM1.*\n", self.assert_agree(table))
        self.both(ports, [ports[1], ports[2], ports[0]])
        self.assert_differ("unknown difference: attach: tty-open: emulated | real", table)
        self.both(ports, [ports[0], ports[2]])
        self.assert_differ("unknown difference: attach: tty-open: emulated | real", table)

    def test_repeats_are_ignored_where_the_table_says_so(self):
        table = "order:\n  - {scenario: attach, kind: tty-open, apart: '(.*)', repeats: ignored, cause: Pace.}\n"
        self.both([OPEN], [OPEN, OPEN, OPEN])
        self.assert_agree(table)
        self.assert_differ("unknown difference: attach: tty-open: emulated | real", table.replace(", repeats: ignored", ""))

    def test_what_is_always_there_must_be_met(self):
        self.both([OPEN], [OPEN])
        text = "known as always there, and not met in attach: attach: tty-open: real .*"
        self.assert_differ(f"error: {text}", row(real=".*", when="always"))
        self.assertIn("note: known, and not met: attach: tty-open: real .*", self.assert_agree(row(real=".*")))
        self.assert_agree(row(scenario="screen", real=".*", when="always"))

    def test_a_failure_in_either_world_counts(self):
        self.both([OPEN], [OPEN])
        for world, name in (("emulated", "emulated"), ("kernel", "real")):
            (self.root / world / "attach.status").write_text("1\n")
            (self.root / world / "attach.out").write_text("failed  it\n")
            self.assert_differ(f"error: attach: status 1 in the {name} world:")
            self.assert_differ("  failed  it")
            (self.root / world / "attach.status").unlink()
        (self.root / "kernel/attach.jsonl").unlink()
        self.assert_differ("error: attach: nothing of it in the real world")

    def test_the_real_world_need_not_play_what_it_cannot(self):
        table = "unplayable:\n  - {scenario: attach, cause: No such fault.}\n"
        self.both([OPEN], [])
        (self.root / "kernel/attach.status").write_text("1\n")
        self.assertIn("not played in the real world:\n  attach: No such fault.\n", self.assert_agree(table))
        self.both([OPEN], [OPEN])
        (self.root / "kernel/attach.status").unlink()
        self.assertIn("note: attach can be played in the real world, after all", self.assert_agree(table))
        (self.root / "emulated/attach.status").write_text("1\n")
        self.assert_differ("error: attach: status 1 in the emulated world:", table)

    def test_what_is_of_no_use_is_refused_with_its_place(self):
        self.both([OPEN], [OPEN])
        place = f"compare.py: {self.root}/table.yaml"
        for table, complaint in (
                ("- a\n", f"{place}: has other members than unplayable, order, differences"),
                ("a: [\n", f"{place}: while parsing"),
                ("differences: [1]\n", f"{place}: differences, row 1: must have cause, kind, scenario, when; may"),
                (row(real=".*", colour="red"), f"{place}: differences, row 1: must have cause, kind"),
                (row(real=".*", scenario="atach"), f"{place}: differences, row 1: there is no scenario atach"),
                (row(real=".*", when="often"), f"{place}: differences, row 1: 'when' is always or timing, not 'often'"),
                (row(real="("), f"{place}: differences, row 1: no pattern: '('"),
                (row(), f"{place}: differences, row 1: says neither"),
                (row(real=".*", kind=[]), f"{place}: differences, row 1: must be a word or a list of words"),
                (row(real=".*", scenario="all", when="always"), f"{place}: differences, row 1: what is there always names"),
                ("order: [{scenario: attach, kind: a, apart: b, cause: c, repeats: no}]\n",
                 f"{place}: order, row 1: repeats can be 'ignored' only")):
            status, text = self.run_it(table)
            self.assertEqual(status, 2)
            self.assertTrue(text.startswith(complaint), text)
        (self.root / "kernel/attach.jsonl").write_text('{"seq": 1}\n')
        status, text = self.run_it()
        self.assertEqual(status, 2)
        self.assertTrue(text.startswith(f"compare.py: {self.root}/kernel/attach.jsonl:1: no entry of a journal"), text)
        for world in ("emulated", "kernel"):
            (self.root / world / "attach.jsonl").unlink()
        self.assertEqual(self.run_it()[0], 2)
        (self.root / "kernel").rmdir()
        self.assertEqual(self.run_it(), (2, f"compare.py: {self.root}/kernel: no folder\n"))

    def test_the_table_of_the_project_is_right(self):
        scenarios = {file.stem for file in compare.SCENARIOS.glob("*.yaml")}
        table = known.read(compare.HERE / "differences.yaml", scenarios | compare.OTHERS)
        for each in table.order + table.differences:
            self.assertTrue(each.cause.endswith("."), each.name())


if __name__ == "__main__":
    unittest.main()
