"""Tests of nodes.py: nodes that the service may open, and what is found when an owner is wrong."""
import unittest

import nodes

INIT = """\
service bivista /vendor/bin/hw/bivista
    user system
    group system usb wakelock
    file /dev/kmsg w
on boot
    chown root system /sys/module/m/parameters/p
    chmod 0664 /sys/module/m/parameters/p
"""
DEVICES = """\
# why
/dev/ttyACM*   0660   system   system
/dev/hidraw*   0660   system   system
/sys/class/c/d   a   0664   root   system
@BIVISTA_USB_CONTROLLER@/usb*/*-[0-9]   power/control   0664   root   system
@BIVISTA_USB_CONTROLLER@/usb*/*-[0-9]/*-[0-9].[0-9]   power/control   0664   root   system
"""
COVER = "/sys/devices/platform/soc/a600000.ssusb/xhci-hcd.3.auto/usb1/1-1"
PAGE = """\
| node | the service | label |
|---|---|---|
| `/dev` | watches | `device` |
| `/dev/*`: `/dev/ttyACM0`, `/dev/hidraw0` | reads, writes | `tty_device`, `hid_device` |
| `/dev/bus/usb` | opens each device | `usb_device` |
| `/dev/kmsg` | writes | `kmsg_device` |
| `/sys/class/tty/*/device/../id` | reads | `sysfs_id` |
| `/sys/class/tty/*/device/../power/control` | writes `on` | `sysfs_power` |
| `/sys/class/c/d/a` | writes | `sysfs_a` |
| `/sys/module/m/parameters/p` | reads, writes | `sysfs_p` |
| `/sys/power/wake_lock` | reads | `sysfs_wake_lock` |
| uevents | receives | `none` |
"""
ACCESSES = """\
allow device dir open read watch
allow tty_device chr_file open read write ioctl
allow hid_device chr_file open read write ioctl
allow usb_device chr_file open read write
allow kmsg_device chr_file write
allow sysfs_id file open read
allow sysfs_power file open write
allow sysfs_a file open write
allow sysfs_p file open read write
allow sysfs_wake_lock file open read
allow touch_data_file file open append
"""


def check(**changes):
    """`changes`: of a text by its name, what stands there and what instead."""
    texts = {"init": INIT, "devices": DEVICES, "page": PAGE, "accesses": ACCESSES}
    for name, (old, new) in changes.items():
        assert old in texts[name]
        texts[name] = texts[name].replace(old, new)
    return list(nodes.check(**texts))


class NodesTest(unittest.TestCase):
    def test_nodes_that_are_the_services(self):
        self.assertEqual(check(), [])

    def test_a_written_node_needs_a_rule(self):
        for text, line, path in (
                ("devices", "/dev/ttyACM*   0660   system   system\n", "/dev/ttyACM0"),
                ("devices", "/dev/hidraw*   0660   system   system\n", "/dev/hidraw0"),
                ("devices", "/sys/class/c/d   a   0664   root   system\n", "/sys/class/c/d/a"),
                ("devices", "@BIVISTA_USB_CONTROLLER@/usb*/*-[0-9]   power/control   0664   root   system\n",
                 f"{COVER}/power/control"),
                ("devices", "@BIVISTA_USB_CONTROLLER@/usb*/*-[0-9]/*-[0-9].[0-9]   power/control   0664"
                 "   root   system\n", f"{COVER}/1-1.2/power/control"),
                ("init", "    chown root system /sys/module/m/parameters/p\n",
                 "/sys/module/m/parameters/p"),
                ("init", "    chmod 0664 /sys/module/m/parameters/p\n",
                 "/sys/module/m/parameters/p")):
            self.assertEqual(check(**{text: (line, "")}), [f"{path}: no rule gives it to the service"])

    def test_a_rule_in_a_comment_is_none(self):
        self.assertEqual(check(devices=("/sys/class/c", "# /sys/class/c")),
                         ["/sys/class/c/d/a: no rule gives it to the service"])

    def test_ueventd_of_android_11_imports_nothing(self):
        line = "import /vendor/etc/ueventd.bivista.rc"
        self.assertEqual(check(devices=("# why", line)),
                         [f"service/ueventd.bivista.rc:1: no rule of owners: {line}"])

    def test_a_line_that_ueventd_does_not_take_gives_nothing(self):
        for line in ("/dev/hidraw*   0660   system", "/dev/hidraw*   0660   system   system   x",
                     "/dev/hidraw*   rw   system   system", "/dev/hidraw*"):
            self.assertEqual(check(devices=("/dev/hidraw*   0660   system   system", line)),
                             [f"service/ueventd.bivista.rc:3: no rule of owners: {' '.join(line.split())}",
                              "/dev/hidraw0: no rule gives it to the service"])

    def test_a_rule_for_all_usb_devices_reaches_too_far(self):
        path = "/sys/class/tty/*/device/../power/control"
        for pattern, places in (
                ("/sys/bus/usb/devices/*", ("/sys/bus/usb/devices/1-1/", "/sys/bus/usb/devices/1-1.2/")),
                ("/sys/bus/usb/devices/*-*", ("/sys/bus/usb/devices/1-1/", "/sys/bus/usb/devices/1-1.2/")),
                ("/sys/devices/platform/soc/*",
                 ("/sys/devices/platform/soc/a800000.ssusb/xhci-hcd.3.auto/usb1/1-1/", ))):
            line = f"{pattern}   power/control   0664   root   system\n/sys/class/c/d"
            self.assertEqual(check(devices=("/sys/class/c/d", line)),
                             [f"{path}: a rule reaches further than the cover's controller, to {place}"
                              for place in places])

    def test_a_pattern_matches_as_in_ueventd(self):
        for pattern, path, expected in (
                ("/dev/a*", "/dev/a/b/c", True), ("/dev/a*", "/dev/b", False), ("/dev/a", "/dev/a", True),
                ("/dev/a", "/dev/a1", False), ("/d/*/c", "/d/a.b/c", True), ("/d/*/c", "/d/a/b/c", False),
                ("/d/*-[0-9]", "/d/1-1", True), ("/d/*-[0-9]", "/d/1-1:1.0", False),
                ("/d/[0-9]", "/d/1", False), ("*", "/d", True)):
            self.assertEqual(nodes.matches(pattern, path), expected, (pattern, path))

    def test_a_rule_gives_it_to_the_service(self):
        line = "/dev/hidraw*   0660   system   system"
        for new, lacks in (("/dev/hidraw*   0640   root   system", "write"),
                           ("/dev/hidraw*   0460   system   system", "write"),
                           ("/dev/hidraw*   0620   root   usb", "read"),
                           ("/dev/hidraw*   0660   root   root", "read and write"),
                           ("/dev/hidraw*   0664   root   root", "write")):
            self.assertEqual(check(devices=(line, new)),
                             [f"/dev/hidraw0: its rule does not let the service {lacks}"])
        for new in ("/dev/hidraw*   0600   system   root", "/dev/hidraw*   0660   root   usb",
                    "/dev/hidraw*   0666   root   root"):
            self.assertEqual(check(devices=(line, new)), [])

    def test_the_last_rule_counts(self):
        self.assertEqual(check(devices=("# why\n", "/dev/hidraw0   0600   root   root\n")), [])
        self.assertEqual(check(devices=("/sys/class", "/dev/hidraw0   0600   root   root\n/sys/class")),
                         ["/dev/hidraw0: its rule does not let the service read and write"])

    def test_a_device_that_is_read_needs_a_rule_too(self):
        self.assertEqual(check(page=("`/sys/class/tty/*/device/../id`", "`/dev/id`")),
                         ["/dev/id: no rule gives it to the service"])

    def test_init_hands_down_what_the_service_may_not_open(self):
        finding = "/dev/kmsg: is not opened by the service, and init does not hand it down"
        for new in ("", "    file /dev/kmsg r\n", "    file /dev/kmsg x\n", "    file /dev/other w\n",
                    "    # file /dev/kmsg w\n"):
            self.assertEqual(check(init=("    file /dev/kmsg w\n", new)), [finding])
        self.assertEqual(check(init=("kmsg w", "kmsg rw")), [])

    def test_what_init_hands_down_need_not_be_opened(self):
        self.assertEqual(check(accesses=("kmsg_device chr_file", "kmsg_device chr_file open")),
                         ["/dev/kmsg: is handed down by init, and may be opened"])

    def test_the_service_is_in_the_groups_of_the_platform_s_nodes(self):
        self.assertEqual(check(init=(" usb", "")),
                         ["/dev/bus/usb: the service is not in the group usb"])
        self.assertEqual(check(init=(" wakelock", "")),
                         ["/sys/power/wake_lock: the service is not in the group wakelock"])

    def test_every_label_of_a_node_is_listed(self):
        for row, label in (("| `/sys/class/c/d/a` | writes | `sysfs_a` |\n", "sysfs_a"),
                           ("| `/dev/bus/usb` | opens each device | `usb_device` |\n", "usb_device")):
            self.assertEqual(check(page=(row, "")),
                             [f"docs/integration.md: lists no node with the label {label}"])


if __name__ == "__main__":
    unittest.main()
