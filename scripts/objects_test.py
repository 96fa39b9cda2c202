# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of objects.py."""
import unittest

import objects

HARD = "a.o:                  U __stack_chk_fail\nb.o: 0000000000000000 T _ZN3foo3barEv\n"


class ObjectsTest(unittest.TestCase):
    def check(self, symbols, *expected, hardening=objects.HARDENING):
        self.assertEqual(list(objects.check_symbols(symbols, hardening)), list(expected))

    def test_hardened_objects_are_right(self):
        self.check(HARD + "c.o: 0000 V _ZTV3Foo\nc.o: 0000 V _ZTT3Foo\n")
        self.check("a.o: 0000 T f\n", "no stack protector in 1 objects")
        self.check("", "no stack protector in 0 objects")

    def test_no_object_throws_or_knows_types(self):
        for kind, names in (("exceptions", ("__cxa_throw", "__cxa_begin_catch", "__gxx_personality_v0", "_Unwind_Resume",
                                            "GCC_except_table0")),
                            ("run-time type information", ("_ZTI3Foo", "_ZTS3Foo", "__dynamic_cast", "__cxa_bad_cast"))):
            for name in names:
                self.check(HARD + f"c.o:    U {name}\n", f"c.o: {kind}: {name}")

    def test_checks_of_calls_show(self):
        self.check(HARD, "no checks of indirect calls in 2 objects", hardening=objects.CFI)
        self.check(HARD + "a.o: 0000 t f.cfi\n", hardening=objects.CFI)
        self.check(HARD + "a.o: 0000 t f.cfi_jt\n", hardening=objects.CFI)

    def test_sources_are_compiled_with_the_phone_s_flags(self):
        own, generated = "/kernel/A.cpp", "/build/generated/A.cpp"
        entries = [{"file": own, "command": " ".join(objects.FLAGS + objects.WARNINGS)},
                   {"file": generated, "command": " ".join(objects.FLAGS)}]
        self.assertEqual(list(objects.check_flags(entries)), [])
        for entry in entries:
            for flag in entry["command"].split():
                less = {**entry, "command": entry["command"].replace(flag, "", 1)}
                self.assertIn(f"{entry['file']}: compiled without {flag}", objects.check_flags([less]))
        self.assertEqual(list(objects.check_flags([])), ["nothing was compiled"])
