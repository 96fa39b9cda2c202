"""Tests of ./run.sh as a person meets it: on a terminal, and a second one beside it. Needs a release build."""
import os
import pathlib
import pty
import re
import signal
import socket
import subprocess
import tempfile
import threading
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent
LATEST = ROOT / "build/run/latest"
UP = "Ctrl-C ends it.\n"
# In vain no wait is longer.
PATIENCE = 600
COLOUR = re.compile(r"\x1b\[[0-9;]*m")


def environment(registry, **more):
    kept = {name: value for name, value in os.environ.items() if name != "NO_COLOR"}
    return {**kept, "HIDL_SOCKET_DIR": registry, "TERM": "xterm", **more}


def run(registry, *words):
    """Runs ./run.sh without a terminal. Gives its exit status and all that it prints."""
    ended = subprocess.run([ROOT / "run.sh", "--no-install", *words], env=environment(registry),
                           stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                           text=True, check=False)
    return ended.returncode, ended.stdout


class Terminal:
    """A terminal of its own with ./run.sh on it."""

    def __init__(self, registry, *words, **more):
        self.text = ""
        self.seconds = 0  # from the start to the last output
        self._status = None
        self._come = threading.Condition()
        self._process, self._descriptor = pty.fork()
        if self._process == 0:
            os.execve(ROOT / "run.sh", ["run.sh", "--no-install", *words], environment(registry, **more))
        self._reader = threading.Thread(target=self._read)
        self._reader.start()

    def _read(self):
        begun = time.monotonic()
        while True:
            try:
                told = os.read(self._descriptor, 65536)
            except OSError:  # The other side is closed.
                return
            with self._come:
                self.text += told.decode(errors="replace").replace("\r\n", "\n")
                self.seconds = time.monotonic() - begun
                self._come.notify()

    def read_until(self, text):
        """Waits until a text has come. Gives whether it has."""
        with self._come:
            return self._come.wait_for(lambda: text in self.text, PATIENCE)

    def type(self, text):
        os.write(self._descriptor, text.encode())

    def end(self):
        """Types Ctrl-C, the first time. Gives the exit status."""
        if self._status is None:
            self.type("\x03")
            self._status = os.waitstatus_to_exitcode(os.waitpid(self._process, 0)[1])
            self._reader.join()
            os.close(self._descriptor)
        return self._status


def left_by_runs():
    """What a run must leave alone: the folders of others, and what is in this one. A journal only grows."""
    runs = ROOT / "build/run"
    return sorted(os.listdir(runs)), os.readlink(LATEST)


class TourTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        """One that a person only looks at goes on meanwhile, until the last test."""
        folder = tempfile.TemporaryDirectory(prefix="bivista-tour-")
        cls.addClassCleanup(folder.cleanup)
        cls.watched = Terminal(folder.name)
        cls.addClassCleanup(cls.watched.end)
        assert cls.watched.read_until("Enter goes on at once.\n"), cls.watched.text

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="bivista-tour-")
        self.addCleanup(folder.cleanup)
        self.registry = folder.name

    def begin(self, *words, **more):
        terminal = Terminal(self.registry, *words, **more)
        self.addCleanup(terminal.end)
        self.assertTrue(terminal.read_until("Enter goes on at once.\n"), terminal.text)
        return terminal

    def test_the_tour_ends_with_what_to_do_next(self):
        terminal = self.begin(NO_COLOR="1")
        terminal.type("\n" * 40)
        self.assertTrue(terminal.read_until(UP), terminal.text)
        folder = os.path.relpath(os.path.realpath(LATEST), ROOT)
        self.assertEqual(terminal.text[terminal.text.index("You have seen"):].splitlines(), [
            "You have seen a cover come, its screen, panel and pen at work, and what happens without a cover.",
            f"Next, in a second terminal: cd {ROOT}; export HIDL_SOCKET_DIR={self.registry}",
            "  PATH=$PWD/build/release/bin:$PATH; bivistactl doctor; bivistactl --help; bivista-emulator ctl --help",
            f"The service's log and the phone's journal: {folder}/service.log and journal.jsonl",
            "The phone stays up. Ctrl-C ends it."])
        self.assertEqual(terminal.end(), 130)
        self.assertNotRegex(terminal.text, COLOUR)

    def test_another_on_the_same_folder_is_refused_and_harms_nothing(self):
        terminal = self.begin()
        terminal.type("\n" * 40)
        self.assertTrue(terminal.read_until(UP), terminal.text)
        before, folder = left_by_runs(), pathlib.Path(os.path.realpath(LATEST))
        kept = {name: (folder / name).read_bytes() for name in ("journal.jsonl", "service.log", "dump.json")}
        self.assertEqual(run(self.registry), (
            2, f"error: an emulator is running already on {self.registry}/emulator.sock: end it, or choose "
               "another folder with HIDL_SOCKET_DIR\n"))
        self.assertEqual(left_by_runs(), before)
        for name, was in kept.items():
            self.assertTrue((folder / name).read_bytes().startswith(was), name)

        # A tour has a registry folder of its own.
        status, text = run(self.registry, "--tour")
        self.assertEqual(status, 0, text)
        self.assertTrue(text.endswith(" and journal.jsonl\nThe tour is over.\n"), text)
        self.assertNotRegex(text, COLOUR)
        for name, was in kept.items():
            self.assertTrue((folder / name).read_bytes().startswith(was), name)
        self.assertTrue(folder.is_dir())
        self.assertNotEqual(os.path.realpath(LATEST), str(folder))
        self.assertEqual(terminal.end(), 130)

    def test_a_socket_that_nobody_answers_does_not_count(self):
        with socket.socket(socket.AF_UNIX) as gone:
            gone.bind(f"{self.registry}/emulator.sock")
        terminal = self.begin()
        self.assertEqual(terminal.end(), 130)

    def test_ctrl_c_ends_it_where_that_was_ignored(self):
        with subprocess.Popen(["env", "--ignore-signal=INT", ROOT / "run.sh", "--no-install", "--color=always"],
                              env=environment(self.registry), stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True) as process:
            told = []
            while not told or not told[-1].endswith(UP):
                told.append(process.stdout.readline())
                self.assertTrue(told[-1], told)
            process.send_signal(signal.SIGINT)
            self.assertEqual(process.wait(PATIENCE), 130)
        self.assertRegex("".join(told), COLOUR)

    def test_typed_commands_stand_out_unless_that_is_not_wanted(self):
        self.assertTrue(self.watched.read_until("\n\x1b[32m$\x1b[m \x1b[1mbivistactl status\x1b[m\n"))
        self.assertTrue(self.watched.read_until("\n\x1b[1;36mThe cover screen goes on\x1b[m\n"))
        plain = self.begin("--color=never")
        plain.type("\n" * 40)
        self.assertTrue(plain.read_until("\nThe cover screen goes on\n"), plain.text)
        self.assertIn("\n$ bivistactl status\n", plain.text)
        self.assertEqual(plain.end(), 130)

    def test_without_enter_a_step_takes_a_second(self):
        hurried = self.begin()
        hurried.type("\n" * 40)
        self.assertTrue(hurried.read_until(UP), hurried.text)
        self.assertEqual(hurried.end(), 130)
        self.assertTrue(self.watched.read_until(UP), self.watched.text)
        self.assertGreater(self.watched.seconds, 15, "there are more steps than that")
        self.assertLess(hurried.seconds, self.watched.seconds)

    def test_there_are_three_kinds_of_colour(self):
        self.assertEqual(run(self.registry, "--color=blue"),
                         (2, "error: --color takes never, auto or always, not 'blue'\n"))


if __name__ == "__main__":
    unittest.main()
