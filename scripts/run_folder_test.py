# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of run-folder.sh."""
import os
import pathlib
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent
OLD = [f"2020-01-{day:02}-120000" for day in range(1, 13)]


def shell(script):
    """Runs a script that has run-folder.sh. Returns its exit status and all that it prints."""
    ended = subprocess.run(
        ["bash", "-c", "set -euo pipefail; source scripts/common.sh; source scripts/run-folder.sh\n" + script],
        cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    return ended.returncode, ended.stdout.strip()


class RunFolderTest(unittest.TestCase):
    def setUp(self):
        self.runs = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory(prefix="bivista-runs-")))

    def make(self):
        status, out = shell(f'make_run_folder {self.runs}; echo "$out"')
        self.assertEqual(status, 0, out)
        return os.path.basename(out)

    def test_each_run_has_its_own_and_latest_leads_to_the_last(self):
        made = [self.make() for _ in range(3)]
        self.assertEqual(len(set(made)), 3)
        for name in made:
            self.assertRegex(name, r"^\d{4}-\d\d-\d\d-\d{6}(-\d+)?$")
        self.assertEqual(os.readlink(self.runs / "latest"), made[-1])
        self.assertEqual(sorted(os.listdir(self.runs)), sorted([*made, "latest"]))

    def test_the_oldest_beyond_ten_go_but_not_what_runs_or_is_no_run(self):
        # A run lasts as long as a process that it has started.
        status, process = shell(f'make_run_folder {self.runs}; mv "$out" {self.runs}/{OLD[1]}\n'
                                "sleep 1000 >/dev/null 2>&1 & echo $!")
        self.assertEqual(status, 0)
        for name in {*OLD, "2020", "notes"} - {OLD[1]}:
            (self.runs / name).mkdir()
        try:
            made = self.make()
        finally:
            subprocess.run(["kill", process], check=True)
        self.assertEqual(sorted(os.listdir(self.runs)), sorted([OLD[1], *OLD[3:], made, "2020", "latest", "notes"]))
