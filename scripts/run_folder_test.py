"""Tests of run-folder.sh."""
import os
import pathlib
import socket
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent


def shell(script, **environment):
    """Runs a script that has run-folder.sh. Gives its exit status and all that it prints."""
    ended = subprocess.run(
        ["bash", "-c", "set -euo pipefail; source scripts/common.sh; source scripts/run-folder.sh\n" + script],
        cwd=ROOT, env={**os.environ, **environment}, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
        text=True, check=False)
    return ended.returncode, ended.stdout


class FolderTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="bivista-runs-")
        self.addCleanup(folder.cleanup)
        self.runs = f"{folder.name}/run"

    def make(self):
        status, out = shell(f'make_run_folder {self.runs}; echo "$out"')
        self.assertEqual(status, 0, out)
        return out.strip()

    def old(self, *names):
        for name in names:
            os.makedirs(f"{self.runs}/{name}")
            with open(f"{self.runs}/{name}/service.log", "w", encoding="utf-8"):
                pass

    def test_each_run_has_its_own(self):
        made = [self.make() for _ in range(3)]
        self.assertEqual(len(set(made)), 3)
        for path in made:
            self.assertRegex(path[len(self.runs):], r"^/\d{4}-\d\d-\d\d-\d{6}(-\d+)?$")
            self.assertTrue(os.path.isdir(path))

    def test_latest_leads_to_the_last(self):
        for _ in range(2):
            made = self.make()
            self.assertEqual(os.readlink(f"{self.runs}/latest"), os.path.basename(made))
        self.assertFalse([name for name in os.listdir(self.runs) if name.startswith("latest.")])

    def test_the_oldest_beyond_ten_go(self):
        names = [f"2020-01-{day:02}-120000" for day in range(1, 13)]
        self.old(*names)
        made = os.path.basename(self.make())
        self.assertEqual(sorted(os.listdir(self.runs)), sorted([*names[3:], made, "latest"]))

    def test_one_that_runs_stays(self):
        names = [f"2020-01-{day:02}-120000" for day in range(1, 13)]
        self.old(*names)
        with subprocess.Popen(["flock", f"{self.runs}/{names[1]}", "sh", "-c", "echo held; read -r end"],
                              stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as runs:
            runs.stdout.readline()
            made = os.path.basename(self.make())
            self.assertEqual(sorted(os.listdir(self.runs)), sorted([names[1], *names[3:], made, "latest"]))
            runs.communicate("\n")

    def test_it_runs_as_long_as_what_it_has_started(self):
        status, text = shell(f'make_run_folder {self.runs}; sleep 1000 >/dev/null 2>&1 & echo "$! $out"')
        self.assertEqual(status, 0, text)
        process, folder = text.split()
        held = ["flock", "--nonblock", folder, "true"]
        self.assertEqual(subprocess.run(held, check=False).returncode, 1)
        subprocess.run(["kill", "-KILL", process], check=True)
        self.assertEqual(subprocess.run(["flock", folder, "true"], check=False).returncode, 0)

    def test_what_is_no_run_stays(self):
        self.old("2020", "notes", *[f"2020-01-{day:02}-120000" for day in range(1, 21)])
        self.make()
        self.assertTrue({"2020", "notes"} <= set(os.listdir(self.runs)))

    def test_a_place_that_cannot_be_written_is_told(self):
        status, text = shell("mkdir() { case $* in -p*) ;; *) false ;; esac; }; make_run_folder /proc/1")
        self.assertEqual(status, 2)
        self.assertRegex(text, r"^error: cannot make /proc/1/[\d-]+\n$")


class RegistryTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="bivista-registry-")
        self.addCleanup(folder.cleanup)
        self.registry = f"{folder.name}/{'long/' * 30}"
        os.makedirs(self.registry)

    def test_nobody_is_in_the_way(self):
        for registry in (self.registry, "/nowhere"):
            self.assertEqual(shell("require_registry", HIDL_SOCKET_DIR=registry), (0, ""))

    def listening(self):
        """A socket by the name of an emulator's, which only its folder's file descriptor can name."""
        server = socket.socket(socket.AF_UNIX)
        self.addCleanup(server.close)
        before = os.getcwd()
        os.chdir(self.registry)
        server.bind("emulator.sock")
        os.chdir(before)
        return server

    def test_an_emulator_that_answers_is(self):
        self.listening().listen()
        self.assertEqual(shell("require_registry", HIDL_SOCKET_DIR=self.registry),
                         (2, f"error: an emulator is running already on {self.registry}/emulator.sock: end it, "
                             "or choose another folder with HIDL_SOCKET_DIR\n"))

    def test_a_socket_that_nobody_answers_is_not(self):
        self.listening()
        self.assertEqual(shell("require_registry", HIDL_SOCKET_DIR=self.registry), (0, ""))

    def test_the_folder_is_the_one_of_the_emulator(self):
        told = 'cd() { echo "$1"; false; }; require_registry'
        for user, environment, folder in ((0, {}, "/run/hidl"), (7, {"XDG_RUNTIME_DIR": "/x"}, "/x/hidl"),
                                          (7, {"XDG_RUNTIME_DIR": ""}, "/tmp/hidl-7"),
                                          (7, {"HIDL_SOCKET_DIR": "/y"}, "/y"), (0, {"HIDL_SOCKET_DIR": "/y"}, "/y")):
            self.assertEqual(shell(f"id() {{ echo {user}; }}; {told}", **{"HIDL_SOCKET_DIR": "", **environment}),
                             (0, f"{folder}\n"))


if __name__ == "__main__":
    unittest.main()
