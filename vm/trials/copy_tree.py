# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""A copy of the project with a build folder of its own, in which one source at a time is another."""
import contextlib
import filecmp
import os
import pathlib
import shutil
import signal
import subprocess

from defects import Useless, apply

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
# Below it nothing is the project's.
BUILD = "build"
# What a change leaves unused is no error of its own.
WITHOUT_WARNINGS = '#pragma clang diagnostic ignored "-Weverything"\n'


# From the request to end to the end by force.
ENDING = 20


def run(words, folder, limit=None, environment=None):
    """Runs a command to its end; gives its exit status and what it said. TimeoutExpired after `limit` seconds."""
    process = subprocess.Popen(words, cwd=folder, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT, text=True, errors="replace", start_new_session=True)
    try:
        output, _ = process.communicate(timeout=limit)
    except BaseException:
        end(process)
        raise
    return process.returncode, output


def end(process):
    """Ends a process and those of its group."""
    for number, patience in ((signal.SIGTERM, ENDING), (signal.SIGKILL, None)):
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, number)
        with contextlib.suppress(subprocess.TimeoutExpired):
            process.communicate(timeout=patience)
            return


def sources():
    """The project's files, also those that are not committed yet."""
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=ROOT,
                            capture_output=True, text=True, check=True)
    return [name for name in listed.stdout.split("\0") if name and (ROOT / name).is_file()]


def is_same(one, other):
    return other.is_file() and not other.is_symlink() and filecmp.cmp(one, other, shallow=False)


class CopyTree:
    """Made or brought up to date when it is constructed. Files keep their times as long as they stay the same."""

    def __init__(self, folder):
        self.folder = folder
        self.build_folder = folder / BUILD / "release"
        wanted = sources()
        self._remove_others(set(wanted))
        for name in wanted:
            target = folder / name
            if not is_same(ROOT / name, target):
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copyfile(ROOT / name, target)
            shutil.copymode(ROOT / name, target)

    def _remove_others(self, wanted):
        for path, folders, names in os.walk(self.folder):
            place = pathlib.Path(path).relative_to(self.folder)
            if place == pathlib.Path("."):
                folders[:] = [name for name in folders if name != BUILD]
            for name in names:
                if str(place / name) not in wanted:
                    (self.folder / place / name).unlink()

    def build(self, *targets):
        """Builds these targets, or all. Throws Useless with what the compiler said."""
        for words in (["cmake", "--preset", "release"], ["ninja", "-C", self.build_folder, *targets]):
            status, output = run(words, self.folder)
            if status != 0:
                raise Useless(f"{' '.join(map(str, words))}\n{output}")

    @contextlib.contextmanager
    def changed(self, seed):
        """With a difference or defect of seeds.py in its source."""
        source = self.folder / seed.source
        text = source.read_text()
        source.write_text(WITHOUT_WARNINGS + apply(seed, text))
        try:
            yield
        finally:
            source.write_text(text)
