"""Tests of the programs in stand-ins/: what they do not know fails."""
import pathlib
import signal
import subprocess
import unittest

STAND_INS = pathlib.Path(__file__).resolve().parent / "stand-ins"


def run(program, *words):
    """The exit status and all that is printed."""
    ended = subprocess.run([STAND_INS / program, *words], stdout=subprocess.PIPE,
                           stderr=subprocess.STDOUT, text=True, check=False)
    return ended.returncode, ended.stdout


def interrupted(command):
    return run("host/interrupted", command)


class InterruptedTest(unittest.TestCase):
    def test_ctrl_c_comes_at_the_first_output(self):
        self.assertEqual(interrupted("echo up; sleep 1000"), (0, "up\n"))

    def test_a_pipeline_ends_whole(self):
        self.assertEqual(interrupted("(trap 'exit 0' INT; echo up >&2; while :; do sleep 0.05; done) | cat"),
                         (0, "up\n"))

    def test_an_end_of_its_own_making_may_fail(self):
        self.assertEqual(interrupted("trap 'exit 5' INT; echo up; while :; do sleep 0.05; done"),
                         (5, "up\n"))

    def test_ctrl_c_comes_where_it_was_ignored(self):
        before = signal.signal(signal.SIGINT, signal.SIG_IGN)
        try:
            self.assertEqual(interrupted("echo up; sleep 1000"), (0, "up\n"))
            self.assertEqual(interrupted("trap 'exit 5' INT; echo up; while :; do sleep 0.05; done"),
                             (5, "up\n"))
        finally:
            signal.signal(signal.SIGINT, before)

    def test_what_fails_by_itself_has_failed(self):
        self.assertEqual(interrupted("echo no such thing >&2; exit 2"), (2, "no such thing\n"))

    def test_what_prints_nothing_has_failed(self):
        self.assertEqual(interrupted("true"), (1, "it prints nothing\n"))


class PhoneTest(unittest.TestCase):
    def adb(self, *words):
        return run("phone/adb", *words)

    def test_a_service_is_one_of_the_init_script(self):
        self.assertEqual(self.adb("shell", "getprop init.svc.vendor.bivista-hal-1-1"), (0, "running\n"))
        self.assertEqual(self.adb("shell", "getprop", "init.svc.vendor.bivista"),
                         (1, "adb: no service 'init.svc.vendor.bivista'\n"))

    def test_the_manifest_is_the_real_one(self):
        status, text = self.adb("shell", "lshal", "--init-vintf")
        self.assertEqual(status, 0)
        self.assertIn("<name>vendor.qmx.hardware.bivista</name>", text)

    def test_a_program_in_its_data_is_one_that_is_built_for_it(self):
        self.assertEqual(self.adb("shell", "/data/x/bivista-benchmark"), (0, ""))
        self.assertEqual(self.adb("shell", "/data/x/bivista-bench"),
                         (1, "adb: no module 'bivista-bench' is built\n"))
        self.assertEqual(self.adb("push", "out/nothing", "/data"), (1, "adb: no module 'nothing' is built\n"))

    def test_anything_else_is_unknown(self):
        for words, told in ((("shell", "reboot now"), "reboot now"),
                            (("shell", "getprop", "x.y"), "getprop x.y"),
                            (("shell", "lshal wait"), "lshal wait"),
                            (("logcat", "-x"), "logcat -x"), (("sideload", "x"), "sideload x")):
            self.assertEqual(self.adb(*words), (1, f"adb: unknown on the phone: {told}\n"))

    def test_modules_are_those_of_the_tree(self):
        self.assertEqual(run("phone/m", "bivista-benchmark"), (0, ""))
        self.assertEqual(run("phone/m", "ueventd.bivista.rc"), (0, ""))
        self.assertEqual(run("phone/m", "ueventd"), (1, "m: nothing to build: ueventd\n"))
        self.assertEqual(run("phone/atest", "VtsHalBivista"), (1, "atest: nothing to build: VtsHalBivista\n"))
        self.assertEqual(run("phone/mmm", "vts"), (0, ""))
        self.assertEqual(run("phone/mmm", "tests"), (1, "mmm: nothing to build: tests\n"))


class PackageTest(unittest.TestCase):
    def test_a_package_that_is_not_there_is_not_installed(self):
        self.assertEqual(run("package/apt", "install", "/nowhere/x.deb")[0], 2)
        self.assertEqual(run("package/apt", "purge"), (1, "apt: purge of what?\n"))
        self.assertEqual(run("package/apt", "upgrade", "x"), (1, "apt: no command 'upgrade' is known here\n"))

    def test_a_unit_is_one_of_the_package(self):
        self.assertEqual(run("package/systemctl", "enable", "--now", "bivistad"),
                         (1, "systemctl: no unit 'bivistad'\n"))
        self.assertEqual(run("package/systemctl", "enabel", "bivista"),
                         (1, "systemctl: no command 'enabel' is known here\n"))

    def test_root_runs_what_it_is_told(self):
        self.assertEqual(run("machine/sudo", "sh", "-c", "echo a; exit 3"), (3, "a\n"))


if __name__ == "__main__":
    unittest.main()
