#!/usr/bin/env -S python3 -B
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Compares what the emulated phone and a real kernel had to do with the service.

usage: vm/agreement/compare.py [--table FILE] EMULATED KERNEL

Both folders have, of each scenario NAME: NAME.jsonl, its journal, or NAME.txt, lines of a program; and
NAME.status, its exit status where that is not 0. The journals are compared kind by kind, in the order within
a kind, the texts line by line. Each difference must be known to differences.yaml (or FILE). Prints the
unknown ones side by side, and the table of the agreement.

Exit status: 0 both agree, 1 they differ, 2 a file or an argument is of no use.
"""
import argparse
import collections
import dataclasses
import difflib
import pathlib
import sys

import known as table_of
import report
from journal import Entry, Useless, read

HERE = pathlib.Path(__file__).resolve().parent
SCENARIOS = HERE.parent.parent / "scenarios"
# What is compared besides the scenarios.
OTHERS = {"conformance", "reattach", "probe"}
# Of what a scenario printed that failed.
LINES = 25


@dataclasses.dataclass
class Compared:
    """One kind of one scenario; or all of a scenario or kind."""
    emulated: int = 0
    real: int = 0
    same: int = 0
    known: int = 0
    unknown: list = dataclasses.field(default_factory=list)  # pairs of lists: emulated, real

    def add(self, other):
        self.emulated += other.emulated
        self.real += other.real
        self.same += other.same
        self.known += other.known
        self.unknown += other.unknown


@dataclasses.dataclass
class Outcome:
    parts: dict = dataclasses.field(default_factory=dict)  # scenario, or "SCENARIO/MARK": {kind: Compared}
    unplayed: dict = dataclasses.field(default_factory=dict)  # name: why the real world could not
    complaints: list = dataclasses.field(default_factory=list)  # what fails by itself
    told: list = dataclasses.field(default_factory=list)


def hunks(left, right):
    """How many entries agree, and the places that do not: pairs of lists."""
    begin = 0
    while begin < min(len(left), len(right)) and left[begin] == right[begin]:
        begin += 1
    found = difflib.SequenceMatcher(None, left[begin:], right[begin:], autojunk=False).get_opcodes()
    same = begin + sum(one_end - one for tag, one, one_end, _, _ in found if tag == "equal")
    return same, [(left[begin + one:begin + one_end], right[begin + two:begin + two_end])
                  for tag, one, one_end, two, two_end in found if tag != "equal"]


def explain(scenario, emulated, real, rows):
    """Takes out of both lists what a row knows; returns how much that was."""
    count = 0
    for row in rows:
        for one in list(emulated) if row.emulated else [None]:
            partners = list(real) if row.real else [None]
            for other in partners:
                if not row.matches(one, other):
                    continue
                if one is not None:
                    emulated.remove(one)
                if other is not None:
                    real.remove(other)
                row.meet(scenario)
                count += 1
                if one is not None:
                    break
    return count


def lanes(entries, rows):
    """The entries in rows of their own, as the table's rows of order have them."""
    split = collections.defaultdict(list)
    for entry in entries:
        name, repeats = None, True
        for row in rows:
            lane = row.lane(entry)
            if lane:
                name, repeats = lane, row.repeats
                break
        if repeats or not split[name] or split[name][-1] != entry:
            split[name].append(entry)
    return split


def compare_kind(scenario, kind, emulated, real, known):
    result = Compared(len(emulated), len(real))
    if emulated == real:
        result.same = len(emulated)
        return result
    orders = [row for row in known.order if row.is_of(scenario, kind)]
    rows = [row for row in known.differences if row.is_of(scenario, kind)]
    lefts, rights = lanes(emulated, orders), lanes(real, orders)
    differ = 0
    for lane in lefts.keys() | rights.keys():
        same, places = hunks(lefts[lane], rights[lane])
        result.same += same
        for left, right in places:
            differ += 1
            result.known += explain(scenario, left, right, rows)
            if left or right:
                result.unknown.append((left, right))
    if not differ:
        # The orders alone differ; what a row leaves alone it has no part in.
        for row in orders:
            if any(row.lane(entry) for entry in emulated):
                row.meet(scenario)
        result.known += 1
    return result


def load(folder, name):
    """The entries of a scenario, by part and kind; None without a file."""
    if (folder / f"{name}.jsonl").exists():
        return {f"{name}/{mark}" if mark else name: kinds for mark, kinds in read(folder / f"{name}.jsonl").items()}
    if (folder / f"{name}.txt").exists():
        lines = (folder / f"{name}.txt").read_text(errors="backslashreplace").splitlines()
        return {name: {"line": [Entry("line", bytes=line) for line in lines]}}
    return None


def status_of(folder, name):
    file = folder / f"{name}.status"
    return file.read_text().strip() if file.exists() else "0"


def said(folder, name):
    """The last lines that were printed."""
    file = folder / f"{name}.out"
    lines = file.read_text(errors="backslashreplace").splitlines()[-LINES:] if file.exists() else []
    return "".join(f"\n  {line}" for line in lines)


def compare_scenario(name, folders, known, outcome):
    statuses = [status_of(folder, name) for folder in folders]
    if statuses[0] != "0":
        outcome.complaints.append(f"{name}: status {statuses[0]} in the emulated world:{said(folders[0], name)}")
    if name in known.unplayable and statuses[1] != "0":
        outcome.unplayed[name] = known.unplayable[name]
        return
    if statuses[1] != "0":
        outcome.complaints.append(f"{name}: status {statuses[1]} in the real world:{said(folders[1], name)}")
    elif name in known.unplayable:
        outcome.told.append(f"{name} can be played in the real world, after all: its row below unplayable can go")
    # What follows from a failure is no difference of its own.
    if statuses != ["0", "0"]:
        return
    emulated, real = (load(folder, name) for folder in folders)
    for world, entries in (("emulated", emulated), ("real", real)):
        if entries is None:
            outcome.complaints.append(f"{name}: nothing of it in the {world} world")
    if emulated is None or real is None:
        return
    for part in list(emulated) + [part for part in real if part not in emulated]:
        left, right = emulated.get(part, {}), real.get(part, {})
        outcome.parts[part] = {kind: compare_kind(part, kind, left.get(kind, []), right.get(kind, []), known)
                               for kind in sorted(left.keys() | right.keys())}


def compare(folders, known):
    outcome = Outcome()
    names = {file.stem for folder in folders for file in folder.iterdir()
             if file.suffix in (".jsonl", ".txt", ".status")}
    if not names:
        raise Useless(f"{folders[0]} and {folders[1]}: no journal in either")
    for name in sorted(names):
        compare_scenario(name, folders, known, outcome)
    for row in known.order + known.differences:
        compared = {part.split("/")[0] for part in outcome.parts} | outcome.parts.keys()
        missed = (set(row.scenarios) & compared) - row.met_in if row.always else set()
        if missed:
            where = ", ".join(sorted(missed))
            outcome.complaints.append(f"known as always there, and not met in {where}: {row.name()}")
        elif not row.met:
            outcome.told.append(f"known, and not met: {row.name()}")
    return outcome


def main():
    parser = argparse.ArgumentParser(usage=__doc__.split("\n")[2].removeprefix("usage: "), add_help=True)
    parser.add_argument("--table", type=pathlib.Path, default=HERE / "differences.yaml")
    parser.add_argument("folders", type=pathlib.Path, nargs=2, metavar="FOLDER")
    arguments = parser.parse_args()
    try:
        for folder in arguments.folders:
            if not folder.is_dir():
                raise Useless(f"{folder}: no folder")
        known = table_of.read(arguments.table, {file.stem for file in SCENARIOS.glob("*.yaml")} | OTHERS)
        outcome = compare(arguments.folders, known)
    except (Useless, OSError) as error:
        print(f"compare.py: {error}", file=sys.stderr)
        return 2
    print(report.text(outcome, known))
    return 0 if report.agrees(outcome) else 1


if __name__ == "__main__":
    sys.exit(main())
