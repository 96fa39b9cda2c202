# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""The tests of the emulated phone, in a copy of the project (copy_tree.py)."""
import re
import subprocess

import copy_tree
from defects import Useless

# The tests that need no more than programs.
WITH_PROGRAMS = r"^(scenario|recordings)\."
ROOMS = ("tests/kernel", "tests/display", "tests/sub_display")
# By name: what is built, and below which folders of the build which tests are run. One after the other finds less that
# the one before has not found, and takes longer: the tests of the service's rooms link these, all others nearly all.
GROUPS = {
    "scenarios": (("bivista-service", "bivista-emulator", "bivistactl"), ("",), ("-R", WITH_PROGRAMS)),
    "rooms": (tuple(f"{room}/all" for room in ROOMS), ROOMS, ()),
    "tests": ((), ("",), ("-E", WITH_PROGRAMS)),
}
# A test that fails on a busy machine passes the second time.
CTEST = ["ctest", "-j3", "--no-tests=error", "--stop-on-failure", "--repeat", "until-pass:2"]


def failed_tests(output):
    """The tests that ctest lists as failed."""
    _, _, listed = output.partition("The following tests FAILED:")
    return re.findall(r"^\s*\d+ - (\S+) \(", listed, re.MULTILINE)


def meet(tree, group, limit):
    """The first tests of a group that fail; none when all pass. Ends those of a folder after `limit` seconds."""
    targets, folders, words = GROUPS[group]
    tree.build(*targets)
    for folder in folders:
        try:
            where = ["--test-dir", tree.build_folder / folder]
            status, output = copy_tree.run([*CTEST, *words, *where], tree.folder, limit)
        except subprocess.TimeoutExpired:
            return [f"no end after {limit} s"]
        failed = failed_tests(output)
        if status != 0 and not failed:
            raise Useless(f"ctest ended with {status}\n{output}")
        if failed:
            return failed
    return []
