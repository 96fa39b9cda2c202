# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of lint.py."""
import unittest

import lint
import links


def findings(path, text):
    return list(lint.lint(path, text))


class LintTest(unittest.TestCase):
    def test_device_folders_take_standard_linux_and_android_headers(self):
        text = ('#include <string>\n#include <poll.h>\n#include <sys/inotify.h>\n'
                '#include <cutils/klog.h>\n#include "kernel/base/Log.h"\n')
        self.assertEqual(findings("kernel/A.cpp", text), [])

    def test_rooms_take_no_other_library(self):
        for room, header in (("kernel", "nlohmann/json.hpp"), ("emulator/cover", "unistd.h"), ("vts/functional", "unistd.h"),
                             ("vts/functional", "vendor/qmx/hardware/lpwg/1.3/ILpwg.h")):
            self.assertEqual(findings(f"{room}/A.cpp", f"#include <{header}>\n"),
                             [f"{room}/A.cpp:1: {room}/ may not include {header}"])

    def test_device_folders_take_no_lock_that_is_destroyed_at_exit(self):
        for header in ("condition_variable", "mutex", "shared_mutex"):
            self.assertEqual(findings("display/A.cpp", f"#include <{header}>\n"),
                             [f"display/A.cpp:1: display/ may not include {header}"])
            self.assertEqual(findings("emulator/phone/A.cpp", f"#include <{header}>\n"), [])

    def test_the_service_sees_the_object_alone(self):
        self.assertEqual(findings("service/A.cpp", '#include "kernel/Bivista.h"\n'), [])
        self.assertEqual(findings("service/A.cpp", '#include "kernel/serial/SerialLink.h"\n'),
                         ["service/A.cpp:1: service/ may not include kernel/serial/SerialLink.h"])

    def test_rooms_include_what_is_below_them(self):
        for path, header in (("kernel/usb/A.h", "kernel/serial/B.h"), ("kernel/firmware/A.cpp", "kernel/serial/B.h"),
                             ("kernel/serial/A.cpp", "diagnostics/Statistics.h"), ("display/A.h", "kernel/base/B.h"),
                             ("diagnostics/A.cpp", "sub_display/B.h"), ("kernel/A.h", "kernel/hid/B.h")):
            self.assertEqual(findings(path, f'#pragma once\n#include "{header}"\n'), [])
        for room, header in (("kernel/base", "kernel/serial/B.h"), ("kernel/base", "kernel/Bivista.h"),
                             ("kernel/serial", "kernel/usb/B.h"), ("kernel/hid", "kernel/serial/B.h"),
                             ("kernel/usb", "diagnostics/DumpText.h"), ("kernel/firmware", "display/B.h"),
                             ("kernel", "sub_display/B.h"), ("kernel", "display/B.h"),
                             ("kernel", "diagnostics/DumpText.h"), ("display", "sub_display/B.h"),
                             ("sub_display", "display/B.h"), ("sub_display", "kernel/serial/B.h"),
                             ("display", "emulator/cover/B.h"), ("emulator/cover", "kernel/Bivista.h"),
                             ("vts/functional", "kernel/Bivista.h"), ("vm/gadget", "emulator/phone/EventLoop.h"),
                             ("vm/gadget", "kernel/Bivista.h")):
            self.assertEqual(findings(f"{room}/A.cpp", f'#include "{header}"\n'),
                             [f"{room}/A.cpp:1: {room}/ may not include {header}"])

    def test_only_its_tests_include_the_real_kernel(self):
        text = '#include "vm/gadget/Gadget.h"\n'
        for path in ("vm/backend/A.cpp", "vm/gadget/A.cpp", "tests/vm/A.cpp"):
            self.assertEqual(findings(path, text), [])
        for path in ("emulator/phone/A.cpp", "emulator/cover/A.cpp", "kernel/usb/A.cpp", "tests/phone/A.cpp"):
            self.assertEqual(findings(path, text), [f"{path}:1: nothing includes vm/ but its tests"])

    def test_no_header_passes_the_object_on(self):
        self.assertEqual(findings("display/A.cpp", '#include "kernel/Bivista.h"\n'), [])
        for room, header in (("display", "kernel/Bivista.h"), ("kernel", "Bivista.h")):
            self.assertEqual(findings(f"{room}/A.h", f'#pragma once\n#include "{header}"\n'),
                             [f"{room}/A.h:2: {room}/ may not include {header}"])

    def test_no_platform_conditions_in_rooms(self):
        for room in ("kernel", "emulator/cover", "vts/functional"):
            self.assertEqual(findings(f"{room}/A.cpp", "#ifdef __ANDROID__\n#endif\n"),
                             [f"{room}/A.cpp:1: no conditional compilation in {room}/"])

    def test_the_conformance_suite_sees_the_interface_alone(self):
        text = ('#include "BivistaTest.h"\n\n#include <string>\n#include <gtest/gtest.h>\n#include <utils/Mutex.h>\n'
                '#include <vendor/qmx/hardware/bivista/1.1/IBivista.h>\n')
        self.assertEqual(findings("vts/functional/A.cpp", text), [])

    def test_headers_are_included_once(self):
        self.assertEqual(findings("tools/A.h", "int f();\n"), ["tools/A.h:1: no #pragma once"])

    def test_a_name_made_short_is_used(self):
        for text in ("using testing::Not;\nNot(x);\n", "using testing::Not;\n#define A Not\n",
                     "    using Base::Base;\n", "using A = std::vector<int>;\nA a;\n"):
            self.assertEqual(findings("tools/A.cpp", text), [])
        self.assertEqual(findings("tools/A.cpp", "\nusing testing::Not;\n// Not here.\nNote();\n"),
                         ["tools/A.cpp:2: Not is not used"])
        self.assertEqual(findings("tools/A.cpp", "using A = std::vector<int>;\n"),
                         ["tools/A.cpp:1: A is not used"])
        # A header may pass names on.
        self.assertEqual(findings("tools/A.h", "#pragma once\nusing testing::Not;\n"), [])

    def test_null_pointers_have_one_name(self):
        for line in ('say("NULL");', "// NULL ends it.", "NULLABLE();"):
            self.assertEqual(findings("tools/A.cpp", line + "\n"), [])
        self.assertEqual(findings("tools/A.cpp", "f(0, NULL);\n"),
                         ["tools/A.cpp:1: NULL instead of nullptr"])

    def test_clang_checks_every_lock(self):
        for line in ("android::Mutex mLock;", "std::condition_variable_any mAdded;", "// Not std::mutex.",
                     "#include <condition_variable>"):
            self.assertEqual(findings("tests/A.cpp", line + "\n"), [])
        for lock in ("mutex", "shared_mutex", "recursive_timed_mutex", "condition_variable"):
            self.assertEqual(findings("tests/A.cpp", f"    std::{lock} mLock;\n"),
                             [f"tests/A.cpp:1: clang does not check std::{lock}; "
                              "<utils/Mutex.h> has locks that it checks"])

    def test_the_guide_has_every_method(self):
        interface = ("interface IBivista {\n    /** See other(). */\n    first() generates (Status s);\n"
                     "    second(int32_t value)\n        generates (Status s);\n};\n")
        self.assertEqual(list(lint.lint_guide(interface, "| `first`, `second` | both |")), [])
        self.assertEqual(list(lint.lint_guide(interface, "`second`, first")),
                         ["docs/interface.md: has no `first`"])

    def test_the_guide_for_clients_shows_lines_of_the_examples(self):
        guide = "text\n```sh\nnone\n```\n```cpp\n    one();\n    two();\n```\ntext\n```cpp\none();\n```\n"
        self.assertEqual(list(lint.lint_samples(guide, ["    one();\n", "    two();\none();\n"])), [])
        self.assertEqual(list(lint.lint_samples(guide, ["    one();\n    two()\n"])),
                         [f"{lint.CLIENTS}: no example has: {line}" for line in ("two();", "one();")])

    def test_a_comment_names_a_quirk_of_the_table(self):
        def found(text):
            return list(lint.lint_quirks("kernel/A.cpp", text, "| quirk | what |\n|---|---|\n| `one-wait` | `two` |\n"))

        for text in ("    // Meant: quirk one-wait.\n", "f();  // Ends it. Meant: quirk one-wait. And so on.\n",
                     "// Meant:\n// quirk one-wait\n", "// Meant: quirky.\n", "// A quirk of two.\n"):
            self.assertEqual(found(text), [])
        for name in ("two", "one", "one-wait-more", "quirk", ""):
            self.assertEqual(found(f"f();\n// Meant: quirk {name}.\n"),
                             [f"kernel/A.cpp:2: docs/quirks.md has no `{name}`"])

    def test_links_lead_to_files_and_headings(self):
        files = {"docs/b.md": "# Of B\n## The rest: `x_y`, (more)\n## Again\n## Again\n```\n# No\n```\n", "docs": ""}

        def found(text, path="docs/a.md"):
            return [*links.check(path, text, files.get)]

        for text in ("[b](b.md) [d](../docs) [x](https://x.org/x.md)", "[b](b.md#of-b) [b](b.md#the-rest-x_y-more)",
                     "[b](b.md#again) [b](b.md#again-1)", "```\n[c](c.md)\n```\n`[c](c.md)`"):
            self.assertEqual(found(text), [])
        for target, what in (("c.md", "file"), ("b.md#of-c", "heading"), ("b.md#again-2", "heading"),
                             ("b.md#no", "heading"), ("#a", "heading"), ("../../etc/passwd", "file")):
            self.assertEqual(found(f"[b](b.md)\n[x]({target})"), [f"docs/a.md:2: {target}: no such {what}"])

    def test_a_function_fits_a_screen(self):
        short = "int f() {\n" + "    g();\n" * 50 + "}\n"
        long = "int f() {\n" + "    g();\n" * 70 + "}\n"
        self.assertEqual(findings("tools/A.cpp", short), [])
        self.assertEqual(findings("tools/A.cpp", long.replace("int f()", "class A")), [])
        self.assertEqual(findings("tools/A.cpp", long), ["tools/A.cpp:1: a function of 71 lines"])
