# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""What the agreement came to, as a text."""
import itertools
import textwrap

WIDTH = 76
# Of the entries of one place that differ.
MOST = 12


def agrees(outcome):
    return not outcome.complaints and not any(each.unknown for kinds in outcome.parts.values()
                                              for each in kinds.values())


def table(heads, rows):
    """Columns as wide as they must be; the first to the left, numbers to the right."""
    rows = [heads] + [[str(cell) for cell in row] for row in rows]
    widths = [max(len(row[column]) for row in rows) for column in range(len(heads))]
    return ["  ".join(cell.ljust(width) if column == 0 else cell.rjust(width)
                      for column, (cell, width) in enumerate(zip(row, widths))) for row in rows]


def side_by_side(place):
    emulated, real = ([shown(entry) for entry in entries[:MOST]] for entries in place)
    for left, right in itertools.zip_longest(emulated, real, fillvalue=[]):
        for one, two in itertools.zip_longest(left, right, fillvalue=""):
            yield f"  {one.ljust(WIDTH)} | {two}".rstrip()
    left_out = [len(entries) - MOST for entries in place]
    if max(left_out) > 0:
        yield f"  ... and {max(0, left_out[0])} | {max(0, left_out[1])} more"


def shown(entry):
    text = entry.text()
    if len(text) > 4 * WIDTH:
        text = f"{text[:3 * WIDTH]} ... ({len(entry.bytes)} bytes)"
    return textwrap.wrap(text, WIDTH, drop_whitespace=False) or [""]


def unknown(outcome):
    for name, kinds in outcome.parts.items():
        for kind, compared in kinds.items():
            for place in compared.unknown:
                yield ""
                yield f"unknown difference: {name}: {kind}: emulated | real"
                yield from side_by_side(place)


def total(each):
    each = list(each)
    sums = [sum(getattr(one, name) for one in each) for name in ("emulated", "real", "same", "known")]
    return [*sums, sum(len(one.unknown) for one in each)]


def met_rows(known):
    for row in sorted(known.order + known.differences, key=lambda row: -row.met):
        if row.met:
            yield f"{row.met:5}  {row.name()}"
            yield from textwrap.wrap(row.cause, 110, initial_indent=" " * 7, subsequent_indent=" " * 7)


def text(outcome, known):
    scenarios, kinds = {}, {}
    for part, each in outcome.parts.items():
        for kind, compared in each.items():
            scenarios.setdefault(part.split("/")[0], {}).setdefault(kind, []).append(compared)
            kinds.setdefault(kind, []).append(compared)
    rows = {name: total(itertools.chain(*each.values())) for name, each in scenarios.items()}
    by_scenario = [[name, *rows[name][:2], len(each), *rows[name][3:]] for name, each in scenarios.items()]
    by_kind = [[kind, *total(kinds[kind])] for kind in sorted(kinds)]
    lines = [*unknown(outcome), "",
             *table(["scenario", "emulated", "real", "kinds", "known", "unknown"], by_scenario), "",
             *table(["kind", "emulated", "real", "same", "known", "unknown"],
                    by_kind + [["all", *total(itertools.chain(*kinds.values()))]])]
    if outcome.unplayed:
        lines += ["", "not played in the real world:"]
        lines += [f"  {name}: {cause}" for name, cause in outcome.unplayed.items()]
    met = list(met_rows(known))
    if met:
        lines += ["", "known differences, and how often each was met:", *met]
    lines += [""] * bool(outcome.told) + [f"note: {each}" for each in outcome.told]
    lines += [""] * bool(outcome.complaints) + [f"error: {each}" for each in outcome.complaints]
    lines += ["", "both worlds agree" if agrees(outcome) else "the worlds differ"]
    return "\n".join(lines).lstrip("\n")
