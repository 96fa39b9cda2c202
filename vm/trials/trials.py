#!/usr/bin/env python3
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Shows that the agreement of both worlds, and the tests, find what they are for.

usage: vm/trials/trials.py differences [OPTION...] [NAME...]
       vm/trials/trials.py defects [OPTION...] [NAME...]

Takes one after the other of seeds.py, or those named, into a copy of the project (build/trials/tree).
differences: of the emulated phone; the agreement of the changed emulator with the kernel must find each.
defects: of the service. The tests meet each, from the first group of tests on until one fails; and so does
the kernel, where the changed service must be told from the unchanged one on the emulated phone.
At first the unchanged project is met in the same way, and nothing must be found. Prints a table.

Exit status: 0 enough was found, 1 it was not, 2 an argument or a build is of no use.
"""
import argparse
import pathlib
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
    return [seed.tests, *(each for each in found if each != seed.tests)] if seed.tests in found else []


def try_differences(tree, worlds, chosen_ones):
    """How many are not found."""
    tree.build("bivista-service", "bivista-emulator", "bivistactl", "bivista-vts")
    unknown = worlds.compare(worlds.emulated(tree), worlds.kernel_folder)
    if unknown:
        raise Useless(f"the unchanged emulator and the kernel differ in {shown(unknown)}")
    print_row("-", "none", "both worlds agree")
    missed = 0
    for number, seed in enumerate(chosen_ones, 1):
        with tree.changed(seed):
            tree.build("bivista-emulator")
            found = worlds.compare(worlds.emulated(tree), worlds.kernel_folder)
        print_row(number, seed.name, shown(at_its_place(seed, found)))
        missed += not at_its_place(seed, found)
    tree.build("bivista-emulator")
    return missed


def meet_defect(tree, worlds, sides, reference, limit):
    """What finds the changed service, by side."""
    found = {}
    if "kernel" in sides:
        tree.build("bivista-service")
        found["kernel"] = worlds.compare(reference, worlds.kernel(tree))
    if "tests" in sides:
        found["tests"] = emulated_tests.meet(tree, limit)
    return found


def try_defects(tree, worlds, chosen_ones, sides, limit):
    """How many are not found by any side."""
    tree.build()
    reference = worlds.emulated(tree) if "kernel" in sides else None
    for side, found in meet_defect(tree, worlds, sides, reference, limit).items():
        if found:
            raise Useless(f"the unchanged service is found by the {side}: {shown(found)}")
    print_row("-", "none", *(f"{side}: passes" for side in sides))
    missed = 0
    for number, seed in enumerate(chosen_ones, 1):
        with tree.changed(seed):
            found = meet_defect(tree, worlds, sides, reference, limit)
        print_row(number, seed.name, *(f"{side}: {shown(found[side])}" for side in sides))
        missed += not any(found.values())
    return missed


def parse(arguments):
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0],
                                     usage="%(prog)s {differences,defects} [OPTION...] [NAME...]")
    parser.add_argument("trial", choices=["differences", "defects"])
    parser.add_argument("names", nargs="*", metavar="NAME")
    parser.add_argument("--list", action="store_true", help="print their names, and end")
    parser.add_argument("--only", choices=["tests", "kernel"], help="defects: leave out the other")
    parser.add_argument("--kernel-journals", type=pathlib.Path, metavar="DIR",
                        default=copy_tree.ROOT / "build/kernel/kernel",
                        help="differences: what ./test.sh --kernel has brought out of the machine (%(default)s)")
    parser.add_argument("--limit", type=int, default=1800, metavar="SECONDS",
                        help="of the tests or of the machine, for one defect (%(default)s)")
    return parser.parse_intermixed_args(arguments)


def main(arguments):
    options = parse(arguments)
    try:
        among = seeds.DIFFERENCES if options.trial == "differences" else seeds.DEFECTS
        chosen_ones = chosen(options.names, among)
        if options.list:
            print(*(seed.name for seed in chosen_ones), sep="\n")
            return 0
        tree = copy_tree.CopyTree(copy_tree.ROOT / "build/trials/tree")
        with tempfile.TemporaryDirectory(prefix="bivista-trials-") as folder:
            worlds = Worlds(pathlib.Path(folder), options.kernel_journals, options.limit)
            if options.trial == "differences":
                missed, allowed = try_differences(tree, worlds, chosen_ones), 0
            else:
                sides = [options.only] if options.only else ["tests", "kernel"]
                missed = try_defects(tree, worlds, chosen_ones, sides, options.limit)
                allowed = len(among) - ENOUGH_DEFECTS
    except Useless as error:
        print(f"error: {error}", file=sys.stderr)
        return 2
    print(f"{len(chosen_ones) - missed} of {len(chosen_ones)} found")
    return 1 if missed > allowed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
