# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of ./run.sh as a person meets it: on a terminal, and a second one beside it. Needs a release build."""
import os
import pathlib
import re
import shlex
import signal
import socket
import subprocess
import tempfile
import time
import unittest
import urllib.error
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parent.parent
LATEST = ROOT / "build/run/latest"
UP = "Ctrl-C ends it.\n"
# No wait in vain is longer, in seconds.
PATIENCE = 600


def command(registry, *words, **more):
    kept = {name: value for name, value in os.environ.items() if name != "NO_COLOR"}
    return {"args": [str(ROOT / "run.sh"), "--no-install", *words], "stdin": subprocess.DEVNULL, "text": True,
            "stdout": subprocess.PIPE, "stderr": subprocess.STDOUT,
            "env": {**kept, "HIDL_SOCKET_DIR": registry, "TERM": "xterm", **more}}


def run(registry, *words):
    """Runs ./run.sh without a terminal. Returns its exit status and all that it prints."""
    ended = subprocess.run(**command(registry, *words), check=False)
    return ended.returncode, ended.stdout


class Terminal:
    """A terminal of its own with ./run.sh on it."""

    def __init__(self, registry, *words, **more):
        started = command(registry, *words, **more)
        self.text, self._begun = "", time.monotonic()
        self._process = subprocess.Popen(
            ["timeout", str(PATIENCE), "script", "-qec", shlex.join(started["args"]), "/dev/null"],
            env=started["env"], stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def shows(self, text):
        """Waits until a text has come. Returns the seconds from the start until then, 0 when it does not come."""
        while text not in self.text:
            come = os.read(self._process.stdout.fileno(), 65536)
            if not come:
                return 0
            self.text += come.decode(errors="replace").replace("\r\n", "\n")
        return time.monotonic() - self._begun

    def type(self, text):
        self._process.stdin.write(text.encode())
        self._process.stdin.flush()

    def end(self):
        """Types Ctrl-C, the first time. Returns the exit status."""
        if self._process.poll() is None:
            self._process.communicate(b"\x03")
        return self._process.returncode


class TourTest(unittest.TestCase):
    def setUp(self):
        self.registry = self.folder()

    def folder(self):
        return self.enterContext(tempfile.TemporaryDirectory(prefix="bivista-tour-"))

    def begin(self, registry, *words, **more):
        terminal = Terminal(registry, *words, **more)
        self.addCleanup(terminal.end)
        self.assertTrue(terminal.shows("Enter goes on at once.\n"), terminal.text)
        return terminal

    def test_on_a_terminal_a_step_takes_a_second_or_enter_and_has_colour(self):
        watched = self.begin(self.folder())
        self.assertTrue(watched.shows("\n\x1b[32m$\x1b[m \x1b[1mbivistactl status\x1b[m\n"), watched.text)
        self.assertTrue(watched.shows("\n\x1b[1;36mThe cover screen goes on\x1b[m\n"), watched.text)
        for words, more in (((), {"NO_COLOR": "1"}), (("--color=never",), {})):
            hurried = self.begin(self.folder(), *words, **more)
            hurried.type("\n" * 40)
            hurried_seconds = hurried.shows(UP)
            self.assertTrue(hurried_seconds, hurried.text)
            self.assertIn("\n$ bivistactl status\n", hurried.text)
            self.assertNotRegex(hurried.text, r"\x1b\[[\d;]*m" + ("" if more else "(bivistactl |The )"))
            self.assertEqual(hurried.end(), 130)
        seconds = watched.shows(UP)
        self.assertGreater(seconds, 15, "there are more steps than that")
        self.assertLess(hurried_seconds, seconds)

    def test_a_second_one_harms_nothing_of_the_first(self):
        # A socket that no program answers is no emulator.
        with socket.socket(socket.AF_UNIX) as gone:
            gone.bind(f"{self.registry}/emulator.sock")
        terminal = self.begin(self.registry)
        terminal.type("\n" * 40)
        self.assertTrue(terminal.shows(UP), terminal.text)
        folder = pathlib.Path(os.path.realpath(LATEST))
        self.assertEqual(terminal.text[terminal.text.index("Next, in"):].splitlines(), [
            f"Next, in a second terminal: cd {ROOT}; export HIDL_SOCKET_DIR={self.registry}",
            "  PATH=$PWD/build/release/bin:$PATH; bivistactl doctor; bivistactl --help; bivista-emulator ctl --help",
            f"The service's log and the phone's journal: {folder.relative_to(ROOT)}/service.log and journal.jsonl",
            "The phone stays up. Ctrl-C ends it."])
        kept = {name: (folder / name).read_bytes() for name in ("journal.jsonl", "service.log", "panel.png")}
        status, text = run(self.registry)
        self.assertEqual((status, text.splitlines()[-1]), (
            2, "error: an emulator is running already in this registry folder: end it, or choose another one with "
               "HIDL_SOCKET_DIR"))
        self.assertEqual(os.path.realpath(LATEST), str(folder))
        # A tour has a registry folder of its own.
        status, text = run(self.registry, "--tour")
        self.assertEqual(status, 0, text)
        self.assertTrue(text.endswith(" and journal.jsonl\nThe tour is over.\n"), text)
        self.assertNotIn("\x1b", text)
        self.assertNotEqual(os.path.realpath(LATEST), str(folder))
        # A journal only grows.
        for name, was in kept.items():
            self.assertTrue((folder / name).read_bytes().startswith(was), name)
        self.assertEqual(terminal.end(), 130)

    def test_the_page_is_there_as_long_as_the_phone(self):
        terminal = self.begin(self.registry, "--ui", DISPLAY="", WAYLAND_DISPLAY="")
        terminal.type("\n" * 40)
        self.assertTrue(terminal.shows(UP), terminal.text)
        address, again = re.findall(r"http://127\.0\.0\.1:\d+/[0-9a-f]{32}/", terminal.text)
        self.assertEqual(address, again)
        with urllib.request.urlopen(f"{address}entries?limit=1") as answer:
            self.assertIn(b'"seq":1,', answer.read())
        # Other users may read the log.
        self.assertNotIn(address, (LATEST / "service.log").read_text(errors="replace"))
        self.assertEqual(terminal.end(), 130)
        with self.assertRaises(urllib.error.URLError):
            urllib.request.urlopen(address)

    def test_a_tour_has_a_page_too(self):
        status, text = run(self.registry, "--tour", "--ui")
        self.assertEqual(status, 0, text)
        self.assertRegex(text, r"\nThe phone on a page, for a browser on this machine: http://127\.0\.0\.1:\d+/")

    def test_ctrl_c_ends_it_where_that_was_ignored(self):
        started = command(self.registry, "--color=always")
        with subprocess.Popen(**{**started, "args": ["env", "--ignore-signal=INT", *started["args"]]}) as process:
            printed = ""
            while not printed.endswith(UP):
                line = process.stdout.readline()
                self.assertTrue(line, printed)
                printed += line
            process.send_signal(signal.SIGINT)
            self.assertEqual(process.wait(PATIENCE), 130)
        self.assertIn("\x1b[1mbivistactl", printed)


if __name__ == "__main__":
    unittest.main()
