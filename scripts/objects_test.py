"""Tests of objects.py."""
import unittest

import objects

HARD = ("a.o:                  U __stack_chk_fail\n"
        "b.o: 0000000000000000 T _ZN3foo3barEv\n")


def findings(text, hardening=objects.HARDENING):
    return list(objects.check_symbols(text, hardening))


class ObjectsTest(unittest.TestCase):
    def test_hardened_objects_are_fine(self):
        self.assertEqual(findings(HARD), [])

    def test_no_object_throws_or_catches(self):
        for name in ("__cxa_throw", "__cxa_begin_catch", "__gxx_personality_v0", "_Unwind_Resume",
                     "GCC_except_table0"):
            self.assertEqual(findings(HARD + f"c.o:    U {name}\n"), [f"c.o: exceptions: {name}"])

    def test_no_object_knows_types_at_run_time(self):
        for name in ("_ZTI3Foo", "_ZTS3Foo", "__dynamic_cast", "__cxa_bad_cast"):
            self.assertEqual(findings(HARD + f"c.o: 0000 V {name}\n"),
                             [f"c.o: run-time type information: {name}"])

    def test_tables_of_virtual_functions_are_no_type_information(self):
        self.assertEqual(findings(HARD + "c.o: 0000 V _ZTV3Foo\nc.o: 0000 V _ZTT3Foo\n"), [])

    def test_protection_must_be_there(self):
        self.assertEqual(findings("a.o: 0000 T f\n"),
                         ["no stack protector in 1 objects"])

    def test_no_objects_at_all_are_a_finding(self):
        self.assertEqual(findings(""), ["no stack protector in 0 objects"])

    def test_checks_of_calls_show(self):
        self.assertEqual(findings(HARD, objects.CFI), ["no checks of indirect calls in 2 objects"])
        self.assertEqual(findings(HARD + "a.o: 0000 t f.cfi\n", objects.CFI), [])
        self.assertEqual(findings(HARD + "a.o: 0000 t f.cfi_jt\n", objects.CFI), [])

    def test_sources_are_compiled_with_the_phone_s_flags(self):
        flags = " ".join(objects.FLAGS)
        warnings = " ".join(objects.WARNINGS)
        own = {"file": "/kernel/A.cpp", "command": f"clang++ {flags} {warnings}"}
        generated = {"file": "/build/generated/A.cpp", "command": f"clang++ {flags} -w"}
        self.assertEqual(list(objects.check_flags([own, generated])), [])
        own["command"] = own["command"].replace("-O2", "-O1").replace("-Wextra ", "")
        self.assertEqual(list(objects.check_flags([own, generated])),
                         ["/kernel/A.cpp: compiled without -O2",
                          "/kernel/A.cpp: compiled without -Wextra"])

    def test_something_is_compiled(self):
        self.assertEqual(list(objects.check_flags([])), ["nothing was compiled"])


if __name__ == "__main__":
    unittest.main()
