#!/usr/bin/env python3
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of the emulator on a real kernel: vm/run.sh -- vm/backend/backend_test.py. The phone has no service here."""
import os
import socket
import subprocess
import sys
import time
import unittest

DEVICE = "/sys/bus/usb/devices/1-1"
TTY = "/dev/ttyACM0"
NODES = [DEVICE, TTY, "/dev/hidraw0", "/dev/bus/usb/001"]
HAL_READY = "/sys/class/bivista/bv2/bv2_hal_ready"
KOBJECT_UEVENT = 15  # of <linux/netlink.h>
SERVED = "BIVISTA_BACKEND_TEST"
REFUSED = {
    "attach --tty 3": "the kernel numbers its nodes itself: the next one gets the number 0",
    "attach --hid 1": "the kernel numbers its nodes itself: the next one gets the number 0",
    "attach --no-usb": "on a real kernel every device is on the USB bus",
    "foreign attach --id-vendor 12g4": "a real kernel writes the id files itself: an id has four digits",
    "fault hid open error EIO": "a real kernel opens hidraw nodes itself: name info, config or write",
    "fault hid * late 1s": "a real kernel opens hidraw nodes itself: name info, config or write",
    "fault node /sys/power/wake_lock missing": "the nodes are those of a real kernel: they have no faults",
    "node /sys/class/bivista/bv2/none x":
        "cannot open /sys/devices/virtual/bivista/bv2/none: No such file or directory",
    "node /dev/kmsg x": "the kernel log is the kernel's: write to it as a program",
    "node /dev/null x": "the files in /dev are the kernel's",
}


def ask(*words):
    return subprocess.run(["bivista-emulator", "ctl", *words], capture_output=True, text=True, check=False)


def ctl(words):
    answer = ask(*words.split())
    if answer.returncode != 0:
        raise AssertionError(f"ctl {words}: {answer.stderr}")
    return answer.stdout


def content(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def put(path, text):
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def wait_until(is_so):
    while not is_so():
        time.sleep(0.02)


class BackendTest(unittest.TestCase):
    def tearDown(self):
        ctl("reset")

    def open_tty(self):
        tty = os.open(TTY, os.O_RDWR | os.O_NOCTTY)
        self.addCleanup(os.close, tty)
        return tty

    def test_what_a_kernel_does_by_itself_is_refused(self):
        for words, reason in REFUSED.items():
            with self.subTest(words):
                answer = ask(*words.split())
                self.assertEqual((answer.returncode, answer.stderr), (1, f"bivista-emulator: {reason}\n"))
        self.assertFalse(os.path.exists(DEVICE))

    def test_a_detach_leaves_nothing_and_an_attach_makes_all(self):
        for _ in range(3):
            ctl("attach")
            self.assertEqual([path for path in NODES if not os.path.exists(path)], [])
            self.assertEqual(content(f"{DEVICE}/idVendor"), "3e91\n")
            ctl("reattach")
            self.assertEqual([path for path in NODES[:3] if not os.path.exists(path)], [])
            ctl("detach")
            self.assertEqual([path for path in NODES[:3] if os.path.exists(path)], [])

    def test_a_tty_that_is_open_keeps_its_name(self):
        ctl("attach")
        tty = os.open(TTY, os.O_RDWR | os.O_NOCTTY)
        ctl("detach")
        answer = ask("attach")
        os.close(tty)
        self.assertEqual(answer.returncode, 1)
        self.assertIn("named the new device /dev/ttyACM1 and not /dev/ttyACM0", answer.stderr)
        self.assertFalse(os.path.exists(DEVICE))
        ctl("attach")

    def test_two_devices_are_there_at_once(self):
        ctl("attach")
        ctl("foreign attach --tty 1")
        self.assertEqual(content("/sys/class/tty/ttyACM1/device/../idProduct"), "0104\n")
        ctl("detach")
        self.assertTrue(os.path.exists("/dev/ttyACM1"))
        ctl("foreign detach --tty 1")
        self.assertFalse(os.path.exists("/dev/ttyACM1"))

    def test_a_reset_makes_the_phone_anew(self):
        ctl("attach")
        ctl("property a b")
        ctl("firmware put AB-2_x.dfu")
        put(HAL_READY, "Y")
        ctl("reset")
        self.assertFalse(os.path.exists(DEVICE))
        self.assertEqual(content(HAL_READY), "N\n")
        self.assertEqual(os.listdir("/system_ext/etc/dfu"), [])
        self.assertFalse(os.path.exists("/data/property/host.prop"))

    def test_a_suspended_cover_wakes_to_speak(self):
        ctl("attach")
        put(f"{DEVICE}/power/control", "auto")
        tty = self.open_tty()
        wait_until(lambda: content(f"{DEVICE}/power/runtime_status") == "suspended\n")
        ctl("send hello\\r\\n")
        self.assertEqual(os.read(tty, 100), b"hello\n")

    def test_a_cover_leaves_when_its_lines_are_read(self):
        ctl("attach")
        tty = self.open_tty()
        ctl("send one\\ntwo\\n")
        with subprocess.Popen(["bivista-emulator", "ctl", "detach", "--when-read"]) as departure:
            self.assertEqual(os.read(tty, 100), b"one\n")
            self.assertTrue(os.path.exists(TTY))
            self.assertEqual(os.read(tty, 100), b"two\n")
            self.assertEqual(departure.wait(), 0)

    def test_a_gesture_is_an_event_of_the_touch_device(self):
        events = socket.socket(socket.AF_NETLINK, socket.SOCK_DGRAM, KOBJECT_UEVENT)
        events.bind((0, 1))
        ctl("gesture WAKEUP")
        message = b""
        while b"TOUCH_GESTURE_WAKEUP=WAKEUP" not in message:
            message = events.recv(4096)
        self.assertEqual(message.split(b"\0")[0], b"change@/devices/virtual/bivista/bv2")
        self.assertIn(b"SUBSYSTEM=QMX_BV2", message.split(b"\0"))
        events.close()

    def test_what_a_program_writes_is_in_the_journal(self):
        put(HAL_READY, "Y")
        put("/dev/kmsg", "<6>hello\n")
        journal = ctl("journal")
        self.assertIn(f'"kind":"node-write","path":"{HAL_READY}","bytes":"Y"', journal)
        self.assertIn('"kind":"klog","path":"/dev/kmsg","bytes":"<6>hello\\\\n"', journal)


if __name__ == "__main__":
    if SERVED not in os.environ:
        os.environ[SERVED] = "1"
        os.execvp("bivista-emulator", ["bivista-emulator", "run", "--no-cover", "--", sys.executable, *sys.argv])
    unittest.main()
