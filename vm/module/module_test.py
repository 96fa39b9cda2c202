#!/usr/bin/env python3
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of the module bivista_phone: vm/run.sh -- vm/module/module_test.py. They load the module anew.

What it records of tty and hidraw shows in the journal of a phone on this kernel.
"""
import errno
import fcntl
import os
import re
import select
import socket
import subprocess
import time
import unittest

MODULE = "build/vm/linux/bivista_phone.ko"
DEVICE = "/dev/bivista_phone"
BV2 = "/sys/class/bivista/bv2"
HAL_READY = f"{BV2}/bv2_hal_ready"
HAL_READY_PATH = "/sys/devices/virtual/bivista/bv2/bv2_hal_ready"
NODES = {
    HAL_READY: "N\n",
    f"{BV2}/bv2_recovery": "N\n",
    f"{BV2}/bv2_pd": "0 0\n",
    "/sys/devices/platform/soc/soc:gpio_keys/virtual_mcu_firmware_write": "0\n",
    "/sys/devices/virtual/input/qmx_touch/bv_update_state": "0 0 0\n",
    "/sys/power/wake_lock": "PowerManagerService.Display\n",
    "/sys/module/usbhid/parameters/aes_mode": "0\n",
}
USB_CONTROL = "/sys/devices/platform/vhci_hcd.0/usb1/power/control"
LARGE_FILE = 0o100000  # the kernel adds it to the flags of each open
UEVENT = (b"change@/devices/virtual/bivista/bv2\0ACTION=change\0DEVPATH=/devices/virtual/bivista/bv2\0"
          b"SUBSYSTEM=QMX_BV2\0")


def load():
    """The module, anew."""
    subprocess.run(["rmmod", "bivista_phone"], check=True)
    left = [path for path in [DEVICE, "/sys/class/bivista", "/sys/devices/platform/soc", *NODES] if os.path.exists(path)]
    if left:
        raise AssertionError(f"the module left {left}")
    subprocess.run(["insmod", MODULE], check=True)


def elsewhere(action, *arguments, **named):
    """Does it in a process of its own, whose id is returned when it has ended."""
    pid = os.fork()
    if pid == 0:
        status = 1
        try:
            action(*arguments, **named)
            status = 0
        finally:
            os._exit(status)
    if os.waitpid(pid, 0)[1] != 0:
        raise AssertionError("an action in a process of its own failed")
    return pid


def write(path, *texts, flags=os.O_WRONLY):
    fd = os.open(path, flags)
    for text in texts:
        os.write(fd, text)
    os.close(fd)


def read(path, size=1 << 16):
    fd = os.open(path, os.O_RDONLY)
    text = os.read(fd, size)
    os.close(fd)
    return text


def refused(action, *arguments):
    """The errno of a call that fails."""
    try:
        action(*arguments)
    except OSError as error:
        return error.errno
    return None


class NodesTest(unittest.TestCase):
    def setUp(self):
        load()

    def test_each_has_its_first_content_and_then_what_was_written_last(self):
        for path, first in NODES.items():
            with self.subTest(path):
                self.assertEqual(os.stat(path).st_mode & 0o7777, 0o644)
                self.assertEqual(read(path), first.encode())
                write(path, b"a longer text\n", b"1")
                self.assertEqual(read(path), b"1")

    def test_a_read_gives_what_sysfs_can_of_a_page(self):
        page = bytes(range(256)) * 16
        write(HAL_READY, page)
        self.assertEqual(read(HAL_READY), page[:4095])


class Device(unittest.TestCase):
    def setUp(self):
        self.fd = os.open(DEVICE, os.O_RDWR | os.O_NONBLOCK | os.O_CLOEXEC)
        self.addCleanup(lambda: os.close(self.fd))

    def lines(self):
        text = b""
        while more := self.some():
            text += more
        return text.decode().splitlines()

    def some(self):
        try:
            return os.read(self.fd, 1 << 20)
        except BlockingIOError:
            return b""

    def told(self):
        """The records without their time, which is tested once."""
        return [re.sub(r"^(\w \d+) \d+", r"\1", line) for line in self.lines()]


class RecordsTest(Device):
    def test_of_open_write_and_close(self):
        before = time.monotonic_ns()
        pid = elsewhere(write, HAL_READY, b"A\n\0\xff")
        after = time.monotonic_ns()
        lines = [line.split(" ") for line in self.lines()]
        times = [int(line.pop(2)) for line in lines]
        flags = f"{LARGE_FILE | os.O_WRONLY:x}"
        self.assertEqual(lines, [
            ["O", str(pid), f"{LARGE_FILE | os.O_WRONLY | os.O_CLOEXEC:x}", HAL_READY_PATH],
            ["W", str(pid), flags, HAL_READY_PATH, "410a00ff"], ["C", str(pid), flags, HAL_READY_PATH]])
        self.assertEqual([before, *times, after], sorted([before, *times, after]))

    def test_of_flags_and_of_every_node(self):
        for path in NODES:
            with self.subTest(path):
                pid = elsewhere(write, path, b"5", flags=os.O_RDWR | os.O_CREAT | os.O_TRUNC)
                asked = LARGE_FILE | os.O_RDWR | os.O_CREAT | os.O_TRUNC | os.O_CLOEXEC
                real = os.path.realpath(path)
                kept = f"{LARGE_FILE | os.O_RDWR:x} {real}"
                self.assertEqual(self.told(), [f"O {pid} {asked:x} {real}", f"W {pid} {kept} 35", f"C {pid} {kept}"])

    def test_of_bytes(self):
        page = bytes(range(256)) * 16
        for written, recorded in ((b"", "-"), (b"\0", "00"), (page, page.hex())):
            with self.subTest(len(written)):
                elsewhere(write, HAL_READY, written)
                self.assertEqual(self.told()[1].split(" ")[4], recorded)

    def test_of_two_writers(self):
        def both():
            one, two = (os.open(HAL_READY, os.O_WRONLY) for _ in range(2))
            os.write(one, b"1")
            os.write(two, b"2")
            os.close(one)
            os.write(two, b"3")
            os.close(two)
        elsewhere(both)
        self.assertEqual([(line[0], line.split(" ")[4:]) for line in self.told()], [
            ("O", []), ("O", []), ("W", ["31"]), ("W", ["32"]), ("C", []), ("W", ["33"]), ("C", [])])

    def test_of_the_close_of_what_a_process_leaves_open(self):
        paths = [HAL_READY_PATH, USB_CONTROL, "/dev/kmsg"]
        pid = elsewhere(lambda: [os.open(path, os.O_WRONLY) for path in paths])
        closed = [line for line in self.told() if line[0] == "C"]
        self.assertCountEqual(closed, [f"C {pid} {LARGE_FILE | os.O_WRONLY:x} {path}" for path in paths])

    def test_of_nothing_that_only_reads_or_that_the_reader_does(self):
        elsewhere(read, HAL_READY)
        write(HAL_READY, b"N\n")
        elsewhere(write, "/sys/devices/platform/soc/power/control", b"auto")
        self.assertEqual(self.told(), [])

    def test_of_a_usb_devices_power_control(self):
        elsewhere(write, USB_CONTROL, b"auto")
        self.assertEqual([(line[0], *line.split(" ")[3:]) for line in self.told()], [
            ("O", USB_CONTROL), ("W", USB_CONTROL, b"auto".hex()), ("C", USB_CONTROL)])

    def test_of_the_kernels_log(self):
        def log():
            fd = os.open("/dev/kmsg", os.O_WRONLY)
            os.writev(fd, [b"<6>in two ", b"parts\n"])
            refused(os.write, fd, b"k" * 3000)
            os.close(fd)
        elsewhere(log)
        self.assertEqual([(line[0], *line.split(" ")[3:]) for line in self.told()], [
            ("O", "/dev/kmsg"), ("W", "/dev/kmsg", b"<6>in two parts\n".hex()),
            ("W", "/dev/kmsg", b"k".hex() * 3000), ("C", "/dev/kmsg")])
        elsewhere(read, "/dev/kmsg", 1 << 13)
        self.assertEqual(self.told(), [])

    def test_of_a_file_that_nobody_makes_below_sys(self):
        flags = os.O_WRONLY | os.O_CREAT
        missing = f"{BV2}/not here\\"
        pid = elsewhere(lambda: self.assertEqual(refused(os.open, missing, flags), errno.EACCES))
        elsewhere(lambda: self.assertEqual(refused(os.open, "/sys/none/x", flags), errno.ENOENT))
        elsewhere(lambda: self.assertEqual(refused(os.open, missing, os.O_WRONLY), errno.ENOENT))
        self.assertEqual(self.told(), [
            f"X {pid} {flags | os.O_CLOEXEC:x} {BV2}/not\\040here\\134 {errno.EACCES}"])

    def test_of_a_loss(self):
        elsewhere(write, HAL_READY, *[b"x" * 4096] * 300)
        told = self.told()
        self.assertRegex(told[-1], r"^L 0 0 - \d+$")
        self.assertEqual(len(told) - 1 + int(told[-1].split(" ")[4]), 302)
        elsewhere(write, HAL_READY, b"y")
        self.assertEqual([line[0] for line in self.told()], ["O", "W", "C"])

    def test_of_many_processes_at_once(self):
        def often():
            for number in range(1000):
                write(HAL_READY, str(number).encode())
        pids = []
        for _ in range(4):
            pid = os.fork()
            if pid == 0:
                often()
                os._exit(0)
            pids.append(pid)
        counts, written = dict.fromkeys("OWC", 0), {pid: [] for pid in pids}
        while counts["C"] < 4000:
            select.select([self.fd], [], [])
            for line in self.lines():
                counts[line[0]] += 1
                if line[0] == "W":
                    written[int(line.split(" ")[1])].append(int(bytes.fromhex(line.split(" ")[5])))
        for pid in pids:
            os.waitpid(pid, 0)
        self.assertEqual(counts, dict.fromkeys("OWC", 4000))
        self.assertEqual(list(written.values()), [list(range(1000))] * 4)


class ReadingTest(Device):
    def test_one_reader_at_a_time_who_begins_with_nothing(self):
        elsewhere(write, HAL_READY, b"1")
        self.assertEqual(refused(os.open, DEVICE, os.O_RDONLY), errno.EBUSY)
        os.close(self.fd)
        elsewhere(write, HAL_READY, b"2")
        self.fd = os.open(DEVICE, os.O_RDWR | os.O_NONBLOCK | os.O_CLOEXEC)
        self.assertEqual(self.lines(), [])

    def test_whole_lines_as_they_fit(self):
        self.assertEqual(refused(os.read, self.fd, 4096), errno.EAGAIN)
        self.assertEqual(select.select([self.fd], [self.fd], [], 0), ([], [self.fd], []))
        elsewhere(write, HAL_READY, b"1")
        self.assertEqual(select.select([self.fd], [], []), ([self.fd], [], []))
        self.assertEqual(refused(os.read, self.fd, 20), errno.EINVAL)
        first = os.read(self.fd, 100)
        self.assertRegex(first, rb"^O [^\n]*\n$")
        self.assertEqual([line[0] for line in self.lines()], ["W", "C"])

    def test_a_read_waits(self):
        fcntl.fcntl(self.fd, fcntl.F_SETFL, 0)
        pid = os.fork()
        if pid == 0:
            while not read(f"/proc/{os.getppid()}/syscall").startswith(f"0 {self.fd:#x} ".encode()):
                time.sleep(0.01)
            write(HAL_READY, b"1")
            os._exit(0)
        self.assertEqual(os.read(self.fd, 1 << 14)[:1], b"O")
        os.waitpid(pid, 0)


class UeventTest(Device):
    def setUp(self):
        super().setUp()
        self.listener = socket.socket(socket.AF_NETLINK, socket.SOCK_DGRAM, 15)  # NETLINK_KOBJECT_UEVENT
        self.addCleanup(self.listener.close)
        self.listener.bind((0, 1))

    def test_the_kernel_raises_it_on_the_touch_panel(self):
        longest = b"TOUCH_GESTURE_WAKEUP=" + b"x" * 1898
        for keys in (b"TOUCH_GESTURE_WAKEUP=WAKEUP", b"A=1\0B=", longest, b"\0".join([b"A=1"] * 56)):
            with self.subTest(keys):
                os.write(self.fd, b"uevent " + keys)
                message, sender = self.listener.recvfrom(1 << 16)
                self.assertEqual(sender, (0, 1))
                self.assertRegex(message, re.escape(UEVENT + keys) + rb"\0SEQNUM=\d+\0$")

    def test_other_words_are_refused(self):
        for text, error in ((b"uevent ", errno.EINVAL), (b"uevent A", errno.EINVAL), (b"uevent =1", errno.EINVAL),
                            (b"uevent A=1\0\0B=1", errno.EINVAL), (b"event A=1", errno.EINVAL),
                            (b"uevent A=" + b"x" * 1919, errno.EMSGSIZE), (b"x" * 5000, errno.EMSGSIZE),
                            (b"uevent " + b"\0".join([b"A=1"] * 57), errno.E2BIG)):
            with self.subTest(text):
                self.assertEqual(refused(os.write, self.fd, text), error)


def tearDownModule():
    bad = re.findall(rb".*(?:BUG|WARNING|Oops).*", subprocess.run(["dmesg"], check=True, capture_output=True).stdout)
    if bad:
        raise AssertionError(f"the kernel complains: {bad}")


if __name__ == "__main__":
    unittest.main()
