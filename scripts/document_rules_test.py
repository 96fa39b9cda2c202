"""Tests of document_rules.py."""
import unittest

import document_rules
import document_text
import documents


def to_run(text, place="host"):
    command = document_text.Command(1, text)
    return document_rules.to_run(document_text.Block("x.md", place, (command,)), command)


class RuleTest(unittest.TestCase):
    def test_what_no_rule_knows_is_run_as_it_stands(self):
        for text in ("bivistactl status", "./run.sh --tuor", "cmake --preset asan && cmake --build x"):
            self.assertEqual(to_run(text), text)

    def test_steps_are_named(self):
        self.assertEqual(to_run("./test.sh"), "./test.sh --list")
        self.assertEqual(to_run("./test.sh --only style"), "./test.sh --only style --list")
        self.assertEqual(to_run("vts/mutate.py"), "vts/mutate.py --list")
        self.assertEqual(to_run("bench/run.sh uevent"), "bench/run.sh uevent --list")

    def test_only_the_whole_command_counts(self):
        self.assertEqual(to_run("./test.sh && nonsense"), "./test.sh && nonsense")

    def test_tests_must_be_found(self):
        self.assertEqual(to_run("ctest --preset release -R x"), "ctest --preset release -R x --no-tests=error")

    def test_what_a_step_builds_and_runs_is_only_looked_for(self):
        self.assertEqual(to_run("cmake --preset asan && cmake --build --preset asan"),
                         "cmake --preset asan && cmake --build --preset asan -- -n")
        self.assertEqual(to_run("cmake --preset debug && cmake --build --preset debug --target x"),
                         "cmake --preset debug && cmake --build --preset debug --target x -- -n")
        for text in ("ctest --preset asan -R x", "SOAK_CYCLES=1000 ctest --preset asan -R x"):
            self.assertEqual(to_run(text), "ctest --preset asan -R x -N | grep 'Total Tests: [1-9]'")
        self.assertEqual(to_run("cmake --preset asan && cmake --build --preset tsan"),
                         "cmake --preset asan && cmake --build --preset tsan")

    def test_the_debugger_is_asked_for_what_takes_a_running_service(self):
        for folder in ("", "HIDL_SOCKET_DIR=x "):
            self.assertEqual(
                to_run(f"{folder}bivista-emulator run -- gdb -ex run build/debug/bin/x-service"),
                f"{folder}bivista-emulator run -- gdb -batch -ex 'tbreak {document_rules.NAMESPACE}"
                "::Bivista::bv_update_state' -ex run -ex 'backtrace 1' build/release/bin/x-service")
        for text in ('gdb -p "$(pidof x)"', """gdb -iex 'set y' -p "$(pidof x)\""""):
            self.assertEqual(to_run(text), f"{text} -batch -ex 'info line main'")

    def test_a_phone_beside_that_of_run_sh_is_given_no_registry(self):
        command = document_text.Command(1, "bivista-emulator run -- ls")
        for path, given in (("README.md", False), ("docs/x.md", True)):
            self.assertEqual(document_rules.runs_phone(document_text.Block(path, "host", (command,))), given)

    def test_ctrl_c_is_typed(self):
        for text in ("bivistactl watch lpwg", "bivistactl watch sub | jq .state",
                     "bivista-emulator ctl journal --follow", "adb logcat -s x"):
            self.assertEqual(to_run(text), f"interrupted '{text}'")
        self.assertEqual(to_run("adb logcat -d -s x"), "adb logcat -d -s x")
        self.assertEqual(to_run("bivista-emulator ctl journal"), "bivista-emulator ctl journal")

    def test_quotes_are_kept(self):
        self.assertEqual(to_run("bivistactl watch sub | grep 'x'"),
                         """interrupted 'bivistactl watch sub | grep '"'"'x'"'"''""")

    def test_devices_are_those_of_the_emulated_phone(self):
        self.assertEqual(to_run("ls /dev/ttyACM*"),
                         "HIDL_SOCKET_DIR=$(mktemp -d) bivista-emulator run -- sh -c 'ls /dev/ttyACM*'")

    def test_a_phone_that_stays_up_ends_by_ctrl_c(self):
        for text in ("bivista-emulator run", "build/release/bin/bivista-emulator run --journal build/x"):
            self.assertEqual(to_run(text), f"interrupted '{text}'")
        self.assertEqual(to_run("bivista-emulator run -- ls /dev"), "bivista-emulator run -- ls /dev")

    def test_each_rule_tells_why(self):
        for rule in document_rules.RULES:
            self.assertTrue(rule.reason, rule.pattern)

    def test_each_rule_is_needed_by_a_document(self):
        paths = documents.git("ls-files", "*.md").split()
        blocks = document_text.read_documents(documents.ROOT / path for path in paths)
        used = {document_rules.find(block, command)
                for block in blocks for command in block.commands}
        self.assertEqual([rule.pattern for rule in document_rules.RULES if rule not in used], [])


if __name__ == "__main__":
    unittest.main()
