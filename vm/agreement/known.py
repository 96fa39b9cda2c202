# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""The table of known differences, differences.yaml."""
import dataclasses
import re

import yaml

from journal import Useless

ALWAYS, TIMING = "always", "timing"
MEMBERS = {
    "unplayable": ({"scenario", "cause"}, set()),
    "order": ({"scenario", "kind", "apart", "cause"}, {"repeats"}),
    "differences": ({"scenario", "kind", "when", "cause"}, {"emulated", "real"}),
}


@dataclasses.dataclass
class Row:
    """Of one list of the table. A pattern fits an entry's whole text; its named groups are alike in both worlds."""
    scenarios: tuple  # empty: all
    kinds: tuple
    cause: str
    emulated: re.Pattern | None = None
    real: re.Pattern | None = None
    always: bool = False
    apart: re.Pattern | None = None  # the entries of a row of its own, one for each text of its groups
    repeats: bool = True  # False: how often an entry repeats the one before does not count
    met: int = 0
    met_in: set = dataclasses.field(default_factory=set)

    def is_of(self, part, kind):
        """Of a part of a scenario, "SCENARIO/MARK", which its rows take too."""
        named = not self.scenarios or part in self.scenarios or part.split("/")[0] in self.scenarios
        return named and kind in self.kinds

    def meet(self, part):
        self.met += 1
        self.met_in |= {part, part.split("/")[0]}

    def lane(self, entry):
        """The name of the entry's own row; None: it stays with the others."""
        match = self.apart.fullmatch(entry.text())
        return match and (id(self), *match.groups())

    def matches(self, emulated, real):
        """Whether the row is about these two entries, of which one may be None."""
        if (emulated is None) != (self.emulated is None) or (real is None) != (self.real is None):
            return False
        groups = []
        for pattern, entry in ((self.emulated, emulated), (self.real, real)):
            match = pattern and pattern.fullmatch(entry.text())
            if pattern and not match:
                return False
            groups.append(match.groupdict() if match else {})
        return all(groups[0][name] == groups[1][name] for name in groups[0].keys() & groups[1].keys())

    def name(self):
        shown = {"seen": self.apart, "emulated": self.emulated, "real": self.real}
        patterns = ", ".join(f"{world} {pattern.pattern}" for world, pattern in shown.items() if pattern)
        return f"{', '.join(self.scenarios) or 'all'}: {', '.join(self.kinds)}: {patterns}"


@dataclasses.dataclass
class Known:
    unplayable: dict  # scenario: cause
    order: list
    differences: list


def words(value, where):
    each = value if isinstance(value, list) else [value]
    if not each or not all(isinstance(word, str) for word in each):
        raise Useless(f"{where}: must be a word or a list of words, not {value!r}")
    return tuple(each)


def pattern(text, where):
    if text is None:
        return None
    try:
        return re.compile(text, re.DOTALL)
    except (re.error, TypeError) as error:
        raise Useless(f"{where}: no pattern: {text!r}: {error}") from error


def make_row(name, raw, where):
    scenarios = words(raw["scenario"], where)
    row = Row(() if scenarios == ("all",) else scenarios, words(raw["kind"], where), str(raw["cause"]).strip())
    if name == "order":
        row.apart = pattern(raw["apart"], where)
        if raw.get("repeats", True) not in (True, "ignored"):
            raise Useless(f"{where}: repeats can be 'ignored' only")
        row.repeats = "repeats" not in raw
        return row
    row.emulated, row.real = pattern(raw.get("emulated"), where), pattern(raw.get("real"), where)
    if not row.emulated and not row.real:
        raise Useless(f"{where}: says neither what is seen in the emulated world nor what in the real one")
    if raw["when"] not in (ALWAYS, TIMING):
        raise Useless(f"{where}: 'when' is {ALWAYS} or {TIMING}, not {raw['when']!r}")
    row.always = raw["when"] == ALWAYS
    if row.always and not row.scenarios:
        raise Useless(f"{where}: what is there {ALWAYS} names its scenarios")
    return row


def read(path, scenarios):
    """The table; `scenarios`: those that there are."""
    try:
        table = yaml.safe_load(path.read_text())
    except yaml.YAMLError as error:
        raise Useless(f"{path}: {error}") from error
    if not isinstance(table, dict) or not set(table) <= set(MEMBERS):
        raise Useless(f"{path}: has other members than {', '.join(MEMBERS)}")
    known = Known({}, [], [])
    for name, (needed, allowed) in MEMBERS.items():
        for number, raw in enumerate(table.get(name) or [], 1):
            where = f"{path}: {name}, row {number}"
            if not isinstance(raw, dict) or not needed <= set(raw) <= needed | allowed:
                raise Useless(f"{where}: must have {', '.join(sorted(needed))}; may have {', '.join(sorted(allowed))}")
            unknown = {each for each in words(raw["scenario"], where) if each.split("/")[0] not in scenarios | {"all"}}
            if unknown:
                raise Useless(f"{where}: there is no scenario {', '.join(sorted(unknown))}")
            if name == "unplayable":
                known.unplayable.update(dict.fromkeys(words(raw["scenario"], where), str(raw["cause"]).strip()))
            else:
                getattr(known, name).append(make_row(name, raw, where))
    return known
