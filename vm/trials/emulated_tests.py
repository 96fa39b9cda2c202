# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""The tests of the emulated phone, in a copy of the project (copy_tree.py)."""
import re
import subprocess

import copy_tree
from defects import Useless

# The tests that need the service alone, and all others: these link its rooms, and are built anew for each defect.
WITH_THE_SERVICE = r"^(scenario|recordings)\."
# By name: what is built, and which tests are run.
GROUPS = {
    "scenarios": (("bivista-service", "bivista-emulator", "bivistactl"), ("-R", WITH_THE_SERVICE)),
    "tests": ((), ("-E", WITH_THE_SERVICE)),
}
# A test that fails on a busy machine passes the second time.
CTEST = ["ctest", "--preset", "release", "-j3", "--no-tests=error", "--stop-on-failure", "--repeat", "until-pass:2"]


def failed_tests(output):
    """The tests that ctest lists as failed."""
    _, _, listed = output.partition("The following tests FAILED:")
    return re.findall(r"^\s*\d+ - (\S+) \(", listed, re.MULTILINE)


def meet(tree, group, limit):
    """The first tests of a group that fail; none when all pass. Ends them after `limit` seconds."""
    targets, words = GROUPS[group]
    tree.build(*targets)
    try:
        status, output = copy_tree.run([*CTEST, *words], tree.folder, limit)
    except subprocess.TimeoutExpired:
        return [f"no end after {limit} s"]
    failed = failed_tests(output)
    if status != 0 and not failed:
        raise Useless(f"ctest ended with {status}\n{output}")
    return failed
