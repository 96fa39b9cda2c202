"""Tests of phone.py: a small tree that is right, and what is found when something of it is not."""
import unittest

import phone

PROGRAM = "vendor.qmx.hardware.bivista@1.1-service"
HAL = '<name>vendor.qmx.hardware.bivista</name><transport>hwbinder</transport><version>{}</version>' \
      '<interface><name>IBivista</name><instance>default</instance></interface>'
INTERFACE = 'hidl_interface {{ name: "vendor.qmx.hardware.{}", root: "vendor.qmx.hardware", ' \
            'srcs: ["{}"], interfaces: ["android.hidl.base@1.0"{}] }}'
FILES = {
    "Android.bp": 'cc_defaults { name: "defaults" }\n'
                  f'cc_binary {{ name: "{PROGRAM}", defaults: ["defaults"],\n'
                  'relative_install_path: "hw", init_rc: ["service/a.rc"],\n'
                  'vintf_fragments: ["service/a.xml"], required: ["rules"],\n'
                  'srcs: ["kernel/A.cpp", "service/S.cpp"],\n'
                  'shared_libs: ["liblog", "vendor.qmx.hardware.bivista@1.1"] }\n'
                  'prebuilt_etc { name: "rules", src: "service/ueventd.bivista.rc" }\n',
    "Android.mk": "LOCAL_MODULE := owners\n$(X): $(LOCAL_PATH)/service/ueventd.bivista.rc\n",
    "CMakeLists.txt": "project(bivista VERSION 1.2.3 LANGUAGES CXX)\n",
    "bivista.mk": f"PRODUCT_PACKAGES += {PROGRAM}\nPRODUCT_PACKAGES += owners\nX += $(bivista_folder)/service/sepolicy \\\n"
                  "    $(bivista_folder)/service/framework_compatibility_matrix.xml\n",
    "docs/integration.md": "| `/sys/d/a` | writes | `sysfs_a` |\n`/dev` `/sys/class/tty/*/id` `ro.product.device` `ro.vendor.a`\n",
    "interfaces/bivista/1.0/Android.bp": INTERFACE.format("bivista@1.0", "I.hal", ""),
    "interfaces/bivista/1.0/I.hal": "package vendor.qmx.hardware.bivista@1.0;\n",
    "interfaces/bivista/1.1/Android.bp":
        INTERFACE.format("bivista@1.1", "I.hal", ', "vendor.qmx.hardware.bivista@1.0"'),
    "interfaces/bivista/1.1/I.hal":
        "package vendor.qmx.hardware.bivista@1.1;\n\nimport @1.0::I;\nimport @1.0::J;\n",
    "interfaces/current.txt": "# why\n\naa vendor.qmx.hardware.bivista@1.0::I\n",
    "kernel/A.cpp": '"/dev" "/sys/class/tty/%s/id" "ro.product.device" "ro.vendor.a" "/devices"\n',
    "service/S.cpp": "\n",
    "service/a.rc": f"service bivista /vendor/bin/hw/{PROGRAM}\n"
                    "    user system\n"
                    "    interface vendor.qmx.hardware.bivista@1.0::IBivista default\n"
                    "    interface vendor.qmx.hardware.bivista@1.1::IBivista default\n",
    "service/a.xml": '<manifest version="1.0" type="device"><hal format="hidl">'
                     + HAL.format("1.1") + "</hal></manifest>",
    "service/framework_compatibility_matrix.xml":
        '<compatibility-matrix version="1.0" type="framework"><hal format="hidl">'
        + HAL.format("1.0-1") + "</hal></compatibility-matrix>",
    "service/sepolicy/hwservice_contexts":
        "vendor.qmx.hardware.bivista::IBivista    u:object_r:hal_bivista_hwservice:s0\n",
    "service/sepolicy/property_contexts": "ro.vendor.a   u:object_r:p:s0 exact string\n",
    "service/ueventd.bivista.rc": "/sys/d a 0664 system system\n",
    "tests/sepolicy/accesses.txt": "allow sysfs_a file open write\n",
}
HASHES = ["aa vendor.qmx.hardware.bivista@1.0::I"]


def tree(**changes):
    """The tree with texts replaced in files, files added, and files taken away."""
    files = dict(FILES)
    for name, (old, new) in changes.get("of", {}).items():
        assert old in files[name]
        files[name] = files[name].replace(old, new)
    for name, text in changes.get("new", {}).items():
        files[name] = text
    for name in changes.get("without", ()):
        del files[name]
    return phone.Tree(sorted(files), files.__getitem__)


class PhoneTest(unittest.TestCase):
    def expect(self, found, *expected):
        self.assertEqual(list(found), list(expected))

    def test_a_tree_that_is_right(self):
        self.expect(phone.check(tree()))
        self.expect(phone.check_hashes(tree(), HASHES))

    def test_a_named_file_exists(self):
        self.expect(phone.check_files(tree(without=["service/ueventd.bivista.rc"])),
                    "Android.bp: rules names service/ueventd.bivista.rc, which does not exist")
        self.expect(phone.check_files(tree(without=["kernel/A.cpp"])),
                    f"Android.bp: {PROGRAM} names kernel/A.cpp, which does not exist")

    def test_every_source_of_the_service_is_named(self):
        self.expect(phone.check_service_sources(tree(new={"display/B.cpp": ""})),
                    "Android.bp: the service does not name display/B.cpp")

    def test_no_other_source_is_named(self):
        changed = tree(of={"Android.bp": ('"kernel/A.cpp"', '"host/B.cpp", "kernel/A.cpp"')},
                       new={"host/B.cpp": ""})
        self.expect(phone.check_service_sources(changed),
                    "Android.bp: the service names host/B.cpp, which is not of its folders")

    def test_sources_stand_in_order_and_once(self):
        for names in ('"service/S.cpp", "kernel/A.cpp"',
                      '"kernel/A.cpp", "kernel/A.cpp", "service/S.cpp"'):
            changed = tree(of={"Android.bp": ('"kernel/A.cpp", "service/S.cpp"', names)})
            self.expect(phone.check_service_sources(changed), "Android.bp: the sources of the "
                        "service are not in order, or named twice")

    def test_needed_modules_exist(self):
        self.expect(phone.check_modules(tree(of={"Android.bp": ('["rules"]', '["rule"]')})),
                    f"Android.bp: {PROGRAM} needs rule, which is no module")
        self.expect(phone.check_modules(tree(of={"Android.bp": ("bivista@1.1\"]", "bivista@1.2\"]")})),
                    f"Android.bp: {PROGRAM} needs vendor.qmx.hardware.bivista@1.2, "
                    "which is no module")

    def test_modules_of_the_tree_and_libraries_of_the_tree_may_be_needed(self):
        test = ('cc_test { name: "test", defaults: ["VtsHalTargetTestDefaults"], '
                'static_libs: ["libbase", "vendor.qmx.hardware.bivista@1.0"] }')
        self.expect(phone.check_modules(tree(new={"vts/Android.bp": test})))
        self.expect(phone.check_modules(tree(new={"vts/Android.bp": test.replace("1.0", "2.0")})),
                    "vts/Android.bp: test needs vendor.qmx.hardware.bivista@2.0, which is no module")

    def test_every_source_beside_another_file_is_named(self):
        test = 'cc_test { name: "test", srcs: ["functional/A.cpp"] }'
        files = {"vts/Android.bp": test, "vts/functional/A.cpp": ""}
        self.expect(phone.check_other_sources(tree(new=files)))
        files["vts/functional/B.cpp"] = ""
        self.expect(phone.check_other_sources(tree(new=files)),
                    "vts/Android.bp: does not name vts/functional/B.cpp")

    def test_a_module_has_the_version_of_the_project(self):
        test = 'cc_test { name: "test", cflags: ["-Wall", "-DBIVISTA_VERSION=\\"1.2.3\\""] }'
        self.expect(phone.check_version(tree(new={"vts/Android.bp": test})))
        self.expect(phone.check_version(tree(new={"vts/Android.bp": test.replace("1.2.3", "1.2.4")})),
                    "vts/Android.bp: test is version 1.2.4, the project 1.2.3")

    def test_a_module_is_called_so_once(self):
        self.expect(phone.check_modules(tree(new={"vts/Android.bp": 'cc_test { name: "rules" }'})),
                    "two modules are called rules")

    def test_every_package_is_a_module(self):
        changed = tree(without=["interfaces/bivista/1.0/Android.bp"])
        self.expect(phone.check_interfaces(changed),
                    "no hidl_interface vendor.qmx.hardware.bivista@1.0")

    def test_every_interface_module_is_a_package(self):
        changed = tree(new={"interfaces/lpwg/1.0/Android.bp":
                            INTERFACE.format("lpwg@1.0", "I.hal", "")})
        self.expect(phone.check_interfaces(changed),
                    "hidl_interface vendor.qmx.hardware.lpwg@1.0 has no .hal file")

    def test_an_interface_stands_in_its_folder(self):
        changed = tree(without=["interfaces/bivista/1.0/Android.bp"],
                       new={"interfaces/Android.bp": FILES["interfaces/bivista/1.0/Android.bp"]})
        self.expect(phone.check_interfaces(changed), "interfaces/Android.bp: "
                    "vendor.qmx.hardware.bivista@1.0 stands in the wrong folder")

    def test_an_interface_has_our_root(self):
        changed = tree(of={"interfaces/bivista/1.0/Android.bp": ('root: "vendor.qmx', 'root: "qmx')})
        self.expect(phone.check_interfaces(changed), "interfaces/bivista/1.0/Android.bp: the root "
                    "of vendor.qmx.hardware.bivista@1.0 is not vendor.qmx.hardware")

    def test_an_interface_names_its_files(self):
        changed = tree(new={"interfaces/bivista/1.0/types.hal": ""})
        self.expect(phone.check_interfaces(changed), "interfaces/bivista/1.0/Android.bp: "
                    "vendor.qmx.hardware.bivista@1.0 does not name its files, I.hal types.hal")

    def test_an_interface_names_its_parent(self):
        changed = tree(of={"interfaces/bivista/1.1/Android.bp":
                           (', "vendor.qmx.hardware.bivista@1.0"', "")})
        self.expect(phone.check_interfaces(changed), "interfaces/bivista/1.1/Android.bp: "
                    "vendor.qmx.hardware.bivista@1.1 does not name what it comes from, "
                    "android.hidl.base@1.0 vendor.qmx.hardware.bivista@1.0")

    def test_an_interface_names_all_of_its_chain(self):
        below = ', "vendor.qmx.hardware.bivista@1.0", "vendor.qmx.hardware.bivista@1.1"'
        for named, *found in (
                (below,),
                (', "vendor.qmx.hardware.bivista@1.1"', "interfaces/bivista/1.2/Android.bp: "
                 "vendor.qmx.hardware.bivista@1.2 does not name what it comes from, "
                 "android.hidl.base@1.0 vendor.qmx.hardware.bivista@1.0 "
                 "vendor.qmx.hardware.bivista@1.1")):
            changed = tree(new={
                "interfaces/bivista/1.2/Android.bp": INTERFACE.format("bivista@1.2", "I.hal", named),
                "interfaces/bivista/1.2/I.hal": "import @1.1::I;\n"})
            self.expect(phone.check_interfaces(changed), *found)

    def test_a_chain_leads_through_other_packages(self):
        imported = "vendor.qmx.hardware.bivista@1.1"
        changed = tree(new={
            "interfaces/lpwg/1.0/Android.bp": INTERFACE.format("lpwg@1.0", "I.hal", f', "{imported}"'),
            "interfaces/lpwg/1.0/I.hal": f"import {imported}::I;\n"})
        self.expect(phone.check_interfaces(changed), "interfaces/lpwg/1.0/Android.bp: "
                    "vendor.qmx.hardware.lpwg@1.0 does not name what it comes from, "
                    f"android.hidl.base@1.0 vendor.qmx.hardware.bivista@1.0 {imported}")

    def test_a_manifest_is_xml(self):
        found = list(phone.check_vintf(tree(of={"service/a.xml": ("</manifest>", "")})))
        self.assertEqual(len(found), 1)
        self.assertRegex(found[0], r"^service/a\.xml: no element found")

    def test_manifest_and_matrix_agree_with_the_interfaces(self):
        for file, old, new in (("service/a.xml", "<version>1.1", "<version>1.0"),
                               ("service/a.xml", "default", "other"),
                               ("service/a.xml", "IBivista", "ICover"),
                               ("service/framework_compatibility_matrix.xml", "1.0-1", "1.1")):
            found = list(phone.check_vintf(tree(of={file: (old, new)})))
            self.assertEqual(len(found), 1)
            self.assertRegex(found[0], f"^{file}: declares .*, and not vendor")

    def test_a_manifest_is_the_device_s_and_holds_one_hal(self):
        for old, new in (('type="device"', 'type="framework"'),
                         ("</hal>", '</hal><hal format="hidl"/>')):
            self.expect(phone.check_vintf(tree(of={"service/a.xml": (old, new)})),
                        "service/a.xml: not a device manifest of one hal")
        self.expect(phone.check_vintf(tree(of={"service/a.xml": ('"hidl"', '"aidl"')})),
                    "service/a.xml: the format is not hidl")

    def test_a_new_version_is_declared(self):
        changed = tree(new={"interfaces/bivista/1.2/I.hal": ""})
        self.assertEqual(len(list(phone.check_vintf(changed))), 2)
        self.assertEqual(len(list(phone.check_init(changed))), 1)

    def test_init_starts_the_program(self):
        for old, new in (("/hw/", "/"), ("1.1-service", "1.0-service"), ("service b", "# b")):
            found = list(phone.check_init(tree(of={"service/a.rc": (old, new)})))
            self.assertEqual(len(found), 1)
            self.assertRegex(found[0], "^service/a.rc: starts .*, and not /vendor/bin/hw/vendor")

    def test_init_and_policy_name_what_is_served(self):
        changed = tree(of={"service/a.rc": ("@1.0::IBivista default", "@1.0::IBivista other")})
        self.assertRegex("\n".join(phone.check_init(changed)), "^service/a.rc: serves .*")
        changed = tree(of={"service/sepolicy/hwservice_contexts": ("IBivista", "ICover")})
        self.expect(phone.check_init(changed), "service/sepolicy/hwservice_contexts: does not label "
                    "vendor.qmx.hardware.bivista::IBivista, and nothing else")

    def test_hashes_are_those_of_the_interfaces(self):
        other = "bb vendor.qmx.hardware.bivista@1.0::I"
        self.expect(phone.check_hashes(tree(), [other]),
                    f"interfaces/current.txt: lacks {other}",
                    f"interfaces/current.txt: has {HASHES[0]}, which is no interface as it is")

    def test_makefiles_name_what_exists(self):
        self.expect(phone.check_makefiles(tree(of={"bivista.mk": ("/sepolicy", "/policy")})),
                    "bivista.mk: names service/policy, which does not exist")
        self.expect(phone.check_makefiles(tree(of={"Android.mk": ("/ueventd", "/devices")})),
                    "Android.mk: names service/devices.bivista.rc, which does not exist")

    def test_a_product_takes_the_service_and_the_owners_of_its_nodes(self):
        for old, new in ((PROGRAM, "service"), ("+= owners", "+= owner"),
                         ("PRODUCT_PACKAGES += owners\n", "")):
            self.expect(phone.check_makefiles(tree(of={"bivista.mk": (old, new)})),
                        f"bivista.mk: PRODUCT_PACKAGES is not {PROGRAM} owners")

    def test_the_page_names_every_path_and_property(self):
        for old, missing in (("`/dev` ", "/dev"), ("tty/*/id", "/sys/class/tty/%s/id"),
                             ("ro.product.device", "ro.product.device")):
            self.expect(phone.check_documents(tree(of={"docs/integration.md": (old, "")})),
                        f"docs/integration.md: does not name {missing}")

    def test_every_property_of_the_vendor_has_a_context(self):
        contexts = "service/sepolicy/property_contexts"
        for old, new in (("ro.vendor.a", "ro.vendor.b"), ("\n", "\nx u:object_r:p:s0 exact int\n")):
            self.expect(phone.check_documents(tree(of={contexts: (old, new)})),
                        f"{contexts}: does not label ro.vendor.a, and nothing else")

    def test_nodes_have_owners(self):
        self.expect(phone.check_nodes(tree(of={"service/ueventd.bivista.rc": ("/sys/d a", "/sys/d b")})),
                    "/sys/d/a: no rule gives it to the service")
        self.expect(phone.check_nodes(tree(of={"service/a.rc": ("user system", "user nobody")})),
                    "/sys/d/a: its rule does not let the service write")

    def test_nothing_is_read_of_files_that_are_missing(self):
        for file in ("service/a.rc", "service/ueventd.bivista.rc", "docs/integration.md",
                     "tests/sepolicy/accesses.txt"):
            self.expect(phone.check_nodes(tree(without=[file])), "not one init script and the file "
                        "of owners, with the page and the accesses")


if __name__ == "__main__":
    unittest.main()
