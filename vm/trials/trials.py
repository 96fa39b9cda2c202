#!/usr/bin/env python3
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Shows that the agreement of both worlds, and the tests, find what they are for.

usage: vm/trials/trials.py differences [OPTION...] [NAME...]
       vm/trials/trials.py defects [OPTION...] [NAME...]

Takes one after the other of seeds.py, or those named, into a copy of the project (build/trials/tree).
differences: of the emulated phone; the agreement of the changed emulator with the kernel must find each.
defects: of the service. The scenarios and recordings of the emulated phone meet each until one fails, then all
other tests those that were not found; and the kernel meets each, where the changed service must be told from
the unchanged one on the emulated phone.
The unchanged project is met at first in the same way, and nothing must be found. Prints a table.

Exit status: 0 enough was found, 1 it was not, 2 an argument or a build is of no use.
"""
import argparse
import functools
import pathlib
import signal
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent.parent / "vts"))

import copy_tree  # noqa: E402
import emulated_tests  # noqa: E402
import seeds  # noqa: E402
from defects import Useless  # noqa: E402
from mutate import chosen  # noqa: E402
from worlds import Worlds  # noqa: E402

# Of ten.
ENOUGH_DEFECTS = 9


def print_row(number, name, *found):
    print(f"{number:>3}  {name:<56} {'  '.join(found)}", flush=True)


def shown(found, most=3):
    """What has found a change, in a few words."""
    if not found:
        return "MISSED"
    return ", ".join(found[:most]) + (f" and {len(found) - most} more" if len(found) > most else "")


def at_its_place(seed, found):
    """What shows a difference, where it must show at first; none when others alone differ, as by chance."""
    # Entries that differ, or a scenario that fails.
    first = [each for each in found if each.startswith((f"{seed.tests} (", f"{seed.tests}: "))]
    return [*first, *(each for each in found if each not in first)] if first else []


def try_differences(tree, worlds, chosen_ones):
    """The names of those that are not found."""
    tree.build("bivista-service", "bivista-emulator", "bivistactl", "bivista-vts")
    unknown = worlds.compare(worlds.emulated(tree), worlds.kernel_folder)
    if unknown:
        raise Useless(f"the unchanged emulator and the kernel differ in {shown(unknown)}")
    print_row("-", "none", "both worlds agree")
    missed = []
    for number, seed in enumerate(chosen_ones, 1):
        with tree.changed(seed):
            tree.build("bivista-emulator")
            found = worlds.compare(worlds.emulated(tree), worlds.kernel_folder)
        print_row(number, seed.name, shown(at_its_place(seed, found)))
        missed += [] if at_its_place(seed, found) else [seed.name]
    tree.build("bivista-emulator")
    return missed


class Kernel:
    """Meets a service on the kernel: where it differs from the first one on the emulated phone, which is unchanged."""

    def __init__(self, worlds):
        self.worlds = worlds
        self.reference = None

    def __call__(self, tree):
        tree.build("bivista-service", "bivista-emulator", "bivista-emulator-kernel", "bivistactl", "bivista-vts")
        self.reference = self.reference or self.worlds.emulated(tree)
        return self.worlds.compare(self.reference, self.worlds.kernel(tree))


def try_defects(tree, sides, chosen_ones):
    """The names of those that no side finds. What one group of tests finds need not be met by the next."""
    found = {seed.name: {} for seed in chosen_ones}
    for side, meet in sides.items():
        by_chance = meet(tree)
        if by_chance:
            raise Useless(f"the unchanged service is found by the {side}: {shown(by_chance)}")
        print_row("-", "none", f"{side}: passes")
        for number, seed in enumerate(chosen_ones, 1):
            if side in emulated_tests.GROUPS and any(found[seed.name].values()):
                continue
            with tree.changed(seed):
                found[seed.name][side] = meet(tree)
            print_row(number, seed.name, f"{side}: {shown(found[seed.name][side])}")
    return [name for name, by_side in found.items() if not any(by_side.values())]


def parse(arguments):
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0],
                                     usage="%(prog)s {differences,defects} [OPTION...] [NAME...]")
    parser.add_argument("trial", choices=["differences", "defects"])
    parser.add_argument("names", nargs="*", metavar="NAME")
    parser.add_argument("--list", action="store_true", help="print their names, and end")
    parser.add_argument("--side", action="append", choices=[*emulated_tests.GROUPS, "kernel"],
                        help="defects: what shall meet them, one or more; all")
    parser.add_argument("--scenario", action="append", default=[], metavar="NAME",
                        help="play this one, or probe, instead of all that the worlds are compared by; one or more")
    parser.add_argument("--kernel-journals", type=pathlib.Path, metavar="DIR",
                        default=copy_tree.ROOT / "build/kernel/kernel",
                        help="differences: what ./test.sh --kernel has brought out of the machine (%(default)s)")
    parser.add_argument("--limit", type=int, default=1800, metavar="SECONDS",
                        help="of the tests or of the machine, for one defect (%(default)s)")
    return parser.parse_intermixed_args(arguments)


def sides_of(options, worlds):
    """What meets the defects, by name."""
    sides = {name: functools.partial(emulated_tests.meet, group=name, limit=options.limit)
             for name in emulated_tests.GROUPS}
    sides["kernel"] = Kernel(worlds)
    return {name: meet for name, meet in sides.items() if not options.side or name in options.side}


def main(arguments):
    options = parse(arguments)
    # What is running then ends with it, and the copy is as before.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    try:
        among = seeds.DIFFERENCES if options.trial == "differences" else seeds.DEFECTS
        chosen_ones = chosen(options.names, among)
        if options.list:
            print(*(seed.name for seed in chosen_ones), sep="\n")
            return 0
        tree = copy_tree.CopyTree(copy_tree.ROOT / "build/trials/tree")
        with tempfile.TemporaryDirectory(prefix="bivista-trials-") as folder:
            worlds = Worlds(pathlib.Path(folder), options.kernel_journals, options.limit, options.scenario)
            if options.trial == "differences":
                missed, allowed = try_differences(tree, worlds, chosen_ones), 0
            else:
                missed = try_defects(tree, sides_of(options, worlds), chosen_ones)
                allowed = len(among) - ENOUGH_DEFECTS
    except Useless as error:
        print(f"error: {error}", file=sys.stderr)
        return 2
    print(*(f"missed: {name}" for name in missed), f"{len(chosen_ones) - len(missed)} of {len(chosen_ones)} found",
          sep="\n")
    return 1 if len(missed) > allowed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
