# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of phone.py, nodes.py and policy.py: small defects of the real tree, and what is found of each."""
import os
import pathlib
import re
import unittest

import nodes
import phone
import policy

ROOT = pathlib.Path(__file__).resolve().parent.parent
MANIFEST = "service/vendor.qmx.hardware.bivista@1.1-service.xml"
COVER = nodes.COVERS[0] + "power/control"
# File; what stands there, and what instead (None: the file is missing, or is new); what is found, of which the path of
# the file may be left out.
OF_THE_TREE = (
    ("service/Service.cpp", None, None, "names service/Service.cpp, which does not exist"),
    ("kernel/New.cpp", None, "", "the service does not name kernel/New.cpp"),
    ("Android.bp", '"service/Service.cpp"', '"host/B.cpp"', "names, and it is not of its folders: host/B.cpp"),
    ("Android.bp", '"service/Service.cpp",', '"service/Service.cpp", "service/Service.cpp",', "named twice"),
    ("vts/functional/New.cpp", None, "", "vts/Android.bp: does not name vts/functional/New.cpp"),
    ("vts/Android.bp", '"VtsHalTargetTestDefaults"', '"none"', "needs none, which is no module"),
    ("Android.bp", '"vendor.qmx.hardware.lpwg@1.3"', '"vendor.qmx.hardware.lpwg@1.4"', "lpwg@1.4, which is no module"),
    ("Android.bp", '"bivista-benchmark"', '"bivista-defaults"', "two modules are called bivista-defaults"),
    ("kernel/base/Version.h", '"1.', '"7.', "vts/Android.bp: .* is version 1.*, the project 7"),
    ("interfaces/bivista/1.0/Android.bp", None, None, "no hidl_interface vendor.qmx.hardware.bivista@1.0"),
    ("interfaces/bivista/1.0/Android.bp", "@1.0", "@2.0", "hidl_interface .*@2.0 has no .hal file there"),
    ("interfaces/bivista/1.0/Android.bp", '"types.hal",', "", "srcs of vendor.qmx.hardware.bivista@1.0 are not"),
    ("interfaces/bivista/1.1/Android.bp", '"vendor.qmx.hardware.bivista@1.0",', "", "interfaces of .* are not"),
    ("interfaces/bivista/1.1/Android.bp", 'root: "vendor.qmx', 'root: "qmx', "root of .* are not"),
    (MANIFEST, None, None, "does not exist"),
    (MANIFEST, "</manifest>", "", "declares no element found"),
    (MANIFEST, 'type="device"', 'type="framework"', "declares .*'framework'"),
    (MANIFEST, "hidl", "aidl", "declares .*'aidl'"),
    (MANIFEST, "1.1", "1.0", "declares .*'1.0', 'IBivista'"),
    (phone.MATRIX, "default", "other", "declares .*'other'"),
    (phone.MATRIX, "1.0-1", "1.1", "declares .*'1.1', 'IBivista'"),
    (nodes.INIT, "/hw/", "/", "starts "),
    (nodes.INIT, "@1.0::IBivista default", "@1.0::IBivista other", "serves "),
    ("service/sepolicy/hwservice_contexts", "IBivista", "ICover", "labels .*ICover"),
    ("service/sepolicy/property_contexts", "ro.vendor", "ro.other", "labels "),
    ("docs/integration.md", "tty/\\*/device/../idVendor", "", "does not name `/sys/class/tty/\\*/device/../idVendor"),
    ("docs/integration.md", "`ro.product.device`", "", "does not name `ro.product.device`"),
)
# The text of nodes.check; what stands there, and what instead; the findings.
OF_NODES = (
    ("devices", "# The cover's nodes", "import /vendor/etc/x.rc", ["2: no rule of owners: import /vendor/etc/x.rc"]),
    ("devices", "(/dev/hidraw.*)root +usb", r"\1root", ["no rule of owners", "/dev/hidraw0: no rule gives it"]),
    ("devices", "/dev/ttyACM.*", "", ["/dev/ttyACM0: no rule gives it to the service"]),
    ("devices", ".*bv2_pd.*", "", ["/sys/class/bivista/bv2/bv2_pd: no rule gives it to the service"]),
    ("devices", r"@/usb\*/\*-\[0-9\]  .*", "@ a 0664 root usb", [f"{COVER}: no rule gives it to the service"]),
    ("devices", "@BIVISTA_USB_CONTROLLER@/.*", "/sys/bus/usb/devices/* power/control 0664 root usb",
     [f"{COVER}: no rule", "1-1.2/power/control: no rule", "reaches further", "reaches further"]),
    ("devices", "(/dev/hidraw.*)0660 ", r"\g<1>0640 ", ["/dev/hidraw0: its rule does not let the service write"]),
    ("devices", "(/dev/hidraw.*)usb", r"\1root", ["/dev/hidraw0: its rule does not let the service read and write"]),
    ("devices", "# Control files.*", "/dev/hidraw0 0600 root root", ["/dev/hidraw0: its rule does not let"]),
    ("devices", "# The cover's nodes", "/dev/hidraw0 0600 root root\n#", []),
    ("devices", "(/dev/hidraw.*)root +usb", r"\1system root", []),
    ("init", "chown .*aes_mode", "", ["aes_mode: no rule gives it to the service"]),
    ("init", "chmod .*aes_mode", "", ["aes_mode: no rule gives it to the service"]),
    ("init", "file /dev/kmsg w", "file /dev/kmsg r", ["/dev/kmsg: is not opened by the service, and init does not"]),
    ("init", " wakelock\n", "\n", ["/sys/power/wake_lock: the service is not in the group wakelock"]),
    ("accesses", "kmsg_device chr_file", "kmsg_device chr_file open", ["/dev/kmsg: is handed down by init, and may"]),
    ("nodes", '"sysfs_bivista_pen"', "", ["lists no node with the label sysfs_bivista_pen"]),
)


class PhoneTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        os.chdir(ROOT)

    def test_the_tree_is_right(self):
        self.assertEqual([*phone.check(phone.Tree())], [])

    def test_defects_of_the_tree_are_found(self):
        for file, old, new, finding in OF_THE_TREE:
            with self.subTest(file=file, old=old, new=new):
                text = new if old is None else re.sub(old, new, policy.read(file))
                self.assertNotEqual(text, policy.read(file) if os.path.exists(file) else None)
                self.assertRegex("\n".join(phone.check(phone.Tree({file: text}))), finding)

    def test_defects_of_owners_are_found(self):
        files = {"init": nodes.INIT, "devices": nodes.DEVICES, "nodes": nodes.NODES, "accesses": nodes.ACCESSES}
        right = {name: policy.read(path) for name, path in files.items()}
        self.assertEqual([*nodes.check(**right)], [])
        for name, old, new, expected in OF_NODES:
            with self.subTest(name=name, old=old, new=new):
                text = re.sub(old, new, right[name])
                self.assertNotEqual(text, right[name])
                found = [*nodes.check(**{**right, name: text})]
                self.assertEqual(len(found), len(expected), found)
                for finding, part in zip(found, expected):
                    self.assertIn(part, finding)

    def test_a_pattern_matches_as_in_ueventd(self):
        for pattern, path, expected in (
                ("/dev/a*", "/dev/a/b/c", True), ("/dev/a*", "/dev/b", False), ("/dev/a", "/dev/a", True),
                ("/dev/a", "/dev/a1", False), ("/d/*/c", "/d/a.b/c", True), ("/d/*/c", "/d/a/b/c", False),
                ("/d/*-[0-9]", "/d/1-1", True), ("/d/*-[0-9]", "/d/1-1:1.0", False)):
            self.assertEqual(nodes.matches(pattern, path), expected, (pattern, path))

    def test_the_page_has_the_nodes(self):
        self.assertIn(nodes.table(policy.read(nodes.NODES)), policy.read(nodes.PAGE), "run python3 scripts/nodes.py")

    def test_accesses_are_those_that_are_needed(self):
        wanted = set(policy.needed("# why\nallow a file read ioctl\nallowxperm a file ioctl 0x12\n"))
        found = {("allow", "a", "file", "ioctl"), ("allow", "b", "dir", "search")}
        self.assertEqual([*policy.check_accesses(wanted, found)], [
            "needed and not allowed: allow a file read", "needed and not allowed: allowxperm a file 0x0012",
            "allowed and not needed: allow b dir search", "may be any: a file ioctl"])
        self.assertRaises(ValueError, list, policy.needed("permit a file open"))

    def test_labels_are_those_of_the_last_pattern_and_the_longest_prefix(self):
        patterns = policy.read_patterns("/dev/a[0-9]+    u:object_r:one:s0\n/dev/a7 u:object_r:two:s0\n")
        accesses = "label /dev/a1 one\nlabel /dev/a7 two\nlabel /dev/a1b -\nlabel /sys/x/y long\nlabel /sys/z sysfs\n"
        prefixes = [("/x/", "long"), ("/", "sysfs")]
        self.assertEqual([*policy.check_labels(accesses, patterns, prefixes)], [])
        self.assertEqual([*policy.check_labels("label /dev/a7 one", patterns, prefixes)],
                         ["/dev/a7 is labelled two, and not one"])

    def test_contexts_have_types_of_the_policy(self):
        for text, found in (("a u:object_r:known:s0 exact", []), ("a u:r:known:s0", ["f: the policy knows no context of a"]),
                            ("a u:object_r:none:s0", ["f: the policy knows no context of a"]), ("#", ["f: labels nothing"])):
            self.assertEqual([*policy.check_contexts("f", text, {"known"})], found)
