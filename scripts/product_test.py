# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of bivista.mk, Android.mk and file_contexts: what a product's build makes of its variables.

Small makefiles stand in for a product and the platform's; make and m4 are real.
"""
import os
import pathlib
import subprocess
import tempfile
import unittest

import nodes
import phone
import policy

ROOT = pathlib.Path(__file__).resolve().parent.parent
CONTEXTS = "service/sepolicy/file_contexts"
CONTROLLER = nodes.CONTROLLER
PRODUCT = """\
my-dir = $(patsubst %/,%,$(dir $(lastword $(MAKEFILE_LIST))))
BUILD_SYSTEM := .
CLEAR_VARS := clear_vars.mk
TARGET_OUT_ODM := odm
include {root}/bivista.mk
include {root}/Android.mk
printed:
	@echo packages $(PRODUCT_PACKAGES)
	@echo m4 '$(addprefix -D,$(BOARD_SEPOLICY_M4DEFS))'
	@echo policy $(BOARD_SEPOLICY_DIRS)
	@echo matrix $(DEVICE_FRAMEWORK_COMPATIBILITY_MATRIX_FILE)
	@echo module $(LOCAL_MODULE)
"""
RULES = """\
LOCAL_BUILT_MODULE := obj/$(LOCAL_MODULE)
$(LOCAL_MODULE_PATH)/$(LOCAL_INSTALLED_MODULE_STEM): $(LOCAL_BUILT_MODULE)
	@mkdir -p $(dir $@)
	@cp $< $@
"""


def run(words, folder):
    ended = subprocess.run(words, cwd=folder, capture_output=True, text=True, check=False)
    return ended.returncode, ended.stdout, ended.stderr


class ProductTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        for name, text in (("Makefile", PRODUCT.format(root=ROOT)), ("base_rules.mk", RULES), ("clear_vars.mk", "")):
            (self.folder / name).write_text(text, encoding="utf-8")

    def make(self, target, controller=CONTROLLER, *variables):
        return run(["make", "-s", target, f"BIVISTA_USB_CONTROLLER={controller}", *variables], self.folder)

    def printed(self, *variables):
        status, text, errors = self.make("printed", CONTROLLER, *variables)
        self.assertEqual((status, errors), (0, ""))
        return dict(line.split(" ", 1) for line in text.splitlines())

    def test_the_product_names_the_controller(self):
        for path in ("", "/sys/class/usb", "devices/platform", f"{CONTROLLER}/", f"{CONTROLLER} {CONTROLLER}", f"{CONTROLLER} x"):
            status, _, errors = self.make("printed", path)
            self.assertEqual(status, 2)
            self.assertIn(f'BIVISTA_USB_CONTROLLER is "{path}"; set it to the path below /sys/devices', errors)

    def test_the_product_gets_service_owners_and_policy(self):
        [program] = (properties["name"] for kind, properties in phone.read_blueprint(policy.read(ROOT / "Android.bp"))
                     if kind == "cc_binary")
        printed = self.printed()
        self.assertEqual(printed["packages"], f"{program} {printed['module']}")
        self.assertEqual(self.printed("BIVISTA_ODM_UEVENTD=false")["packages"], program)
        folders = [f"{ROOT}/service/sepolicy", f"{ROOT}/service/sepolicy/neighbours"]
        self.assertEqual(printed["policy"].split(), folders)
        self.assertEqual([folder for folder in folders if not os.path.isdir(folder)], [])
        self.assertEqual(printed["matrix"], f"{ROOT}/{phone.MATRIX}")

    def test_the_file_that_ueventd_reads_has_the_path(self):
        self.assertEqual(self.make("odm/ueventd.rc"), (0, "", ""))
        made = (self.folder / "odm/ueventd.rc").read_text(encoding="utf-8")
        template = policy.read(ROOT / nodes.DEVICES)
        self.assertEqual(made, template.replace(nodes.VARIABLE, CONTROLLER))
        self.assertNotEqual(made, template)

    def labels(self, controller, *paths):
        """The labels of file_contexts that paths get, as the platform's build expands it."""
        definition = self.printed()["m4"].replace(CONTROLLER, controller)
        status, text, errors = run(["m4", "--fatal-warnings", "-s", definition, CONTEXTS], ROOT)
        self.assertEqual((status, errors), (0, ""))
        return [policy.label(path, policy.read_patterns(text), []) for path in paths]

    def test_usb_devices_at_the_controller_are_labelled(self):
        for device in nodes.COVERS:
            self.assertEqual(
                self.labels(CONTROLLER, f"{device}idVendor", f"{device}idProduct", f"{device}power/control"),
                ["sysfs_bivista_usb_id", "sysfs_bivista_usb_id", "sysfs_bivista_usb_power"])

    def test_no_other_is(self):
        for device in ("/sys/devices/a.b/usb1/", "/sys/devices/a.b/usb1/1-1/1-1.2/1-1.2.1/",
                       "/sys/devices/a.b/usb1/1-1/1-1:1.0/", "/sys/devices/a-b/usb1/1-1/",
                       "/sys/devices/a.b/c/usb1/1-1/", *nodes.OTHERS):
            self.assertEqual(self.labels("/sys/devices/a.b", "/sys/devices/a.b/usb1/1-1/idVendor", f"{device}idVendor",
                                         f"{device}idProduct", f"{device}power/control"), ["sysfs_bivista_usb_id", *"---"])

    def test_a_star_stands_for_a_part_of_the_path(self):
        self.assertEqual(self.labels("/sys/devices/*/a*", "/sys/devices/b/a1/usb1/1-1/idVendor",
                                     "/sys/devices/b/c/a1/usb1/1-1/idVendor", "/sys/devices/b/a1/c/usb1/1-1/idVendor"),
                         ["sysfs_bivista_usb_id", "-", "-"])

    def test_without_the_controller_no_policy_is_built(self):
        status, _, errors = run(["m4", "--fatal-warnings", "-s", CONTEXTS], ROOT)
        self.assertEqual((status, errors), (1, "file_contexts: BIVISTA_USB_CONTROLLER is not set: see docs/integration.md\n"))
