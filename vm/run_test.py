# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of run.sh with the real kernel: what a command in the machine sees, and each way in which it can end."""
import os
import pathlib
import random
import shlex
import shutil
import signal
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent
LINUX = ROOT / "build/vm/linux"
SCRIPTS = ("vm/run.sh", "vm/linux.sh", "vm/guest/init.sh", "vm/guest/session.sh", "scripts/common.sh",
           "scripts/progress.sh", "scripts/run-folder.sh", "scripts/packages.txt")
# Stands in for QEMU where KVM does not work: with KVM the machine shows no sign of life.
DEAD_WITH_KVM = """#!/bin/bash
case " $* " in *" kvm "*) exec sleep 1000 ;; esac
exec /usr/bin/qemu-system-x86_64 "$@"
"""
COMMAND = """
echo first; echo second >&2; echo third
pwd; touch here; echo "$VM_OUT $HIDL_SOCKET_DIR $HOST_LOG_LEVEL $#:$1:$2"; id -u
ls -d /sys/devices/platform/vhci_hcd.0 /sys/kernel/debug/usb /data /system_ext
readlink /run/vm/bin/bivista-emulator
until [ -e /out/go ]; do sleep 0.1; done
sleep 1000 &
cat bytes
exit 37
"""


def of_machine(folder):
    """Returns the processes whose command line names a folder: the machine that shares it."""
    found = []
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            if process.joinpath("cmdline").read_bytes().find(f"path={folder},".encode()) >= 0:
                found.append(process.name)
        except OSError:
            pass
    return found


class RunTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        subprocess.run([ROOT / "vm/linux.sh"], check=True)
        cls.release = os.listdir(LINUX / "lib/modules")[0]

    def setUp(self):
        # A project below a folder that the machine has of its own.
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory(prefix="bivista-vm-")))
        self.root = self.folder / "project"
        self.out = self.folder / "out"
        self.temporary = self.folder / "temporary"
        self.temporary.mkdir()
        for name in SCRIPTS:
            (self.root / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(ROOT / name, self.root / name)

    def tearDown(self):
        self.assertEqual((os.listdir(self.temporary), of_machine(self.out)), ([], []))

    def words(self, *words, linux=LINUX):
        return [self.root / "vm/run.sh", "--out", self.out, "--linux", linux, *words]

    def environment(self, **more):
        return {**os.environ, "TMPDIR": str(self.temporary), **more}

    def run_sh(self, *words, before=(), **options):
        """Returns the exit status, and standard output and error as lines."""
        kvm = [] if "--help" in words else ["--no-kvm"]
        ended = subprocess.run([*before, *self.words(*kvm, *words, **options)], stdout=subprocess.PIPE, text=True,
                               stderr=subprocess.PIPE, check=False, env=self.environment())
        return ended.returncode, ended.stdout.splitlines(), ended.stderr.splitlines()

    def other_linux(self):
        """Makes a kernel to be changed for a test, with the drivers' folders that count."""
        other = self.folder / "linux"
        modules = other / "lib/modules" / self.release
        modules.mkdir(parents=True)
        (other / "boot").symlink_to(LINUX / "boot")
        for name in ("modules.order", "modules.builtin", "modules.builtin.modinfo"):
            shutil.copy(LINUX / "lib/modules" / self.release / name, modules / name)
        for name in ("drivers/virtio", "drivers/char", "drivers/usb", "drivers/hid", "fs", "net/9p"):
            (modules / "kernel" / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copytree(LINUX / "lib/modules" / self.release / "kernel" / name, modules / "kernel" / name,
                            copy_function=os.symlink)
        return other, modules / "kernel"

    def test_the_command_has_its_output_status_and_folders(self):
        program = self.folder / "tools/qemu-system-x86_64"
        program.parent.mkdir()
        program.write_text(DEAD_WITH_KVM)
        program.chmod(0o755)
        called_in = self.folder / "a folder, it is"
        called_in.mkdir()
        content = random.Random(1).randbytes(1 << 20)
        (called_in / "bytes").write_bytes(content)
        process = subprocess.Popen(
            self.words("--", "bash", "-c", COMMAND, "name", "a  'b'", "ä\n$c"), stdout=subprocess.PIPE, cwd=called_in,
            stderr=subprocess.PIPE, env=self.environment(PATH=f"{program.parent}:{os.environ['PATH']}"))
        with process:
            for line in ("first", "second", "third", called_in, "touch: cannot touch 'here': Read-only file system",
                         "/out /run/hidl verbose 2:a  'b':ä", "$c", "0", "/data", "/sys/devices/platform/vhci_hcd.0",
                         "/sys/kernel/debug/usb", "/system_ext", self.root / "build/release/bin/bivista-emulator-kernel"):
                self.assertEqual(process.stdout.readline().decode(), f"{line}\n")
            # The output comes while the command runs, and the folder is shared.
            (self.out / "go").touch()
            self.assertEqual(process.stdout.read(), content)
            said = process.stderr.read().decode().splitlines()
        self.assertEqual(process.returncode, 37, said)
        self.assertRegex(said[0], rf"^vm/run.sh: Linux {self.release} in a machine without KVM \(.*\)$")
        if os.access("/dev/kvm", os.W_OK):
            self.assertIn("(no machine comes alive with it here)", said[0])
            self.assertTrue((self.root / "build/vm/no-kvm").exists())
        self.assertEqual(len(said), 1)

    def test_a_panic(self):
        status, out, said = self.run_sh("--", "bash", "-c", "echo c >/proc/sysrq-trigger; sleep 1000")
        self.assertEqual((status, out), (125, []), said)
        self.assertEqual(said[1:3], ["error: the machine ended by itself",
                                     f"the last lines of the console ({self.out}/console.log):"])
        self.assertEqual(len(said), 18)
        self.assertIn("Kernel panic - not syncing: sysrq triggered crash", (self.out / "console.log").read_text())

    def test_a_command_that_hangs(self):
        status, out, said = self.run_sh("--limit", "1", "--", "sleep", "1000")
        self.assertEqual((status, out), (123, []), said)
        self.assertEqual(said[1], "error: the command has not ended after 1 s: sleep 1000")

    def test_a_full_disk(self):
        small = f'mkdir {self.out}; mount -t tmpfs -o size=64k none {self.out}; exec "$@"'
        status, out, said = self.run_sh("--", "dd", "if=/dev/zero", "of=/out/file", "bs=4k", "status=none",
                                        before=("unshare", "--user", "--map-root-user", "--mount", "bash", "-c", small, "-"))
        self.assertEqual((status, out), (124, ["dd: error writing '/out/file': No space left on device"]), said)
        self.assertEqual(said[1], f"error: nothing more can be written into {self.out}")

    def test_output_that_cannot_be_written(self):
        full = ("bash", "-c", 'exec "$@" >/dev/full', "-")
        status, _, said = self.run_sh("--", "bash", "-c", "echo text; sleep 1000", before=full)
        self.assertEqual(status, 124, said)
        self.assertEqual(said[-1], "error: the command's output cannot be written on")

    def test_a_kernel_without_vhci_hcd(self):
        other, drivers = self.other_linux()
        (drivers / "drivers/usb/usbip/vhci-hcd.ko").unlink()
        subprocess.run(["/sbin/depmod", "-b", other, self.release], check=True)
        status, _, said = self.run_sh("true", linux=other)
        self.assertEqual(status, 122, said)
        self.assertIn(f"error: Linux {self.release} lacks a driver: ", said[0])
        self.assertIn("vhci-hcd", said[0])

    def test_a_module_of_another_kernel(self):
        other = self.folder / "linux"
        other.mkdir()
        for name in ("boot", "lib"):
            (other / name).symlink_to(LINUX / name)
        module = (LINUX / "bivista_phone.ko").read_bytes()
        (other / "bivista_phone.ko").write_bytes(module.replace(b" SMP ", b" UNI "))
        status, _, said = self.run_sh("true", linux=other)
        self.assertEqual(status, 122, said)
        self.assertIn("error: the driver bivista_phone.ko does not load: ", said[1])
        self.assertIn(f"version magic '{self.release} UNI ", "\n".join(said[3:]))

    def test_an_image_that_is_no_kernel(self):
        other = self.folder / "linux"
        (other / "boot").mkdir(parents=True)
        (other / "lib").symlink_to(LINUX / "lib")
        (other / f"boot/vmlinuz-{self.release}").write_text("no kernel")
        shutil.copy(LINUX / "bivista_phone.ko", other)
        status, _, said = self.run_sh("true", linux=other)
        self.assertEqual(status, 121, said)
        self.assertIn("error: the machine shows no sign of life: ", said[0])

    def test_it_ends_with_its_caller(self):
        # In the background of a script Ctrl-C is ignored, and no program changes that.
        signal.signal(signal.SIGINT, signal.default_int_handler)
        for number, status in ((signal.SIGTERM, 143), (signal.SIGINT, 130), (signal.SIGKILL, -9)):
            with subprocess.Popen(self.words("--no-kvm", "sleep", "1000"), stderr=subprocess.PIPE, text=True,
                                  start_new_session=True, env=self.environment()) as process:
                self.assertIn("without KVM (not wanted)", process.stderr.readline())
                self.assertEqual(len(of_machine(self.out)), 1)
                (os.killpg if number == signal.SIGINT else os.kill)(process.pid, number)
            self.assertEqual(process.returncode, status)
            while of_machine(self.out):
                pass
            if number == signal.SIGKILL:
                shutil.rmtree(self.temporary)
                self.temporary.mkdir()

    def test_wrong_arguments(self):
        for words, wrong in (((), "which command shall run in the machine? See vm/run.sh --help"),
                             (("--frob", "true"), "unknown option '--frob'; see vm/run.sh --help"),
                             (("--limit",), "--limit needs a value; see vm/run.sh --help"),
                             (("--limit", "0", "true"), "--limit takes a number from 1 to 999999, not '0'"),
                             (("--memory", "1g", "true"), "--memory takes a number from 1 to 999999, not '1g'"),
                             (("--preset", "../x", "true"), "'../x' is no preset's name"),
                             (("--out", "/proc/x", "true"), "cannot make the folder /proc/x"),
                             (("--linux", "/nowhere", "true"), "there must be one boot/vmlinuz-... in /nowhere")):
            status, out, said = self.run_sh(*words)
            self.assertEqual((status, out, said[-1]), (2, [], f"error: {wrong}"))

    def test_help_has_an_example(self):
        status, out, _ = self.run_sh("--help")
        self.assertEqual(status, 0)
        example = next(line for line in out if line.startswith("example: "))
        self.assertEqual(shlex.split(example)[1], "vm/run.sh")


if __name__ == "__main__":
    unittest.main()
