"""Tests of policy.py."""
import unittest

import policy

TABLE = "# why\n\nallow a file open read\ndeny b file write\nlabel /dev/x a\n"
OPEN, READ, WRITE = ("a", "file", "open"), ("a", "file", "read"), ("b", "file", "write")


class FactsTest(unittest.TestCase):
    def test_reads_a_table(self):
        facts = policy.Facts(TABLE)
        self.assertEqual(facts.allowed, {OPEN, READ})
        self.assertEqual(facts.denied, {WRITE})
        self.assertEqual(facts.labels, [("/dev/x", "a")])

    def test_refuses_what_it_does_not_know(self):
        for line in ("permit a file open", "allow a file", "label /dev/x", "deny a"):
            with self.assertRaisesRegex(ValueError, f"what is '{line}'"):
                policy.Facts(line)


class AccessTest(unittest.TestCase):
    facts = policy.Facts(TABLE)

    def test_what_is_allowed_is_what_is_needed(self):
        self.assertEqual(list(policy.check_accesses(self.facts, {OPEN, READ})), [])

    def test_a_missing_access_is_found(self):
        self.assertEqual(list(policy.check_accesses(self.facts, {OPEN})),
                         ["needed and not allowed: a file read"])

    def test_an_access_too_many_is_found(self):
        self.assertEqual(list(policy.check_accesses(self.facts, {OPEN, READ, ("a", "file", "map")})),
                         ["allowed and not needed: a file map"])

    def test_a_denied_access_that_is_allowed_is_named_as_such(self):
        self.assertIn("to be denied and allowed: b file write",
                      policy.check_accesses(self.facts, {OPEN, READ, WRITE}))

    def test_a_denied_access_must_be_one_that_could_be_allowed(self):
        self.assertEqual(list(policy.check_names(self.facts, {"b"}, {"file": {"write"}})), [])
        for types, permissions in (({"a"}, {"file": {"write"}}), ({"b"}, {"file": {"read"}}),
                                   ({"b"}, {"dir": {"write"}})):
            self.assertEqual(list(policy.check_names(self.facts, types, permissions)),
                             ["the policy knows no b file write"])


class LabelTest(unittest.TestCase):
    patterns = policy.read_patterns("# why\n\n/dev/a[0-9]+    u:object_r:one:s0\n"
                                    "/sys/x/.*/id u:object_r:two:s0\n/dev/a7 u:object_r:three:s0\n")
    prefixes = [("/", "sysfs"), ("/x/long", "four")]

    def test_reads_patterns(self):
        self.assertEqual(self.patterns, [("/dev/a[0-9]+", "one"), ("/sys/x/.*/id", "two"),
                                         ("/dev/a7", "three")])

    def test_labels_paths(self):
        for path, expected in (("/dev/a1", "one"), ("/dev/a7", "three"), ("/dev/a", "-"),
                               ("/dev/a1b", "-"), ("/sys/x/long/node", "four"),
                               ("/sys/x/long/id", "two"), ("/sys/x/other", "sysfs")):
            self.assertEqual(policy.label(path, self.patterns, self.prefixes), expected)

    def test_a_wrong_label_is_found(self):
        facts = policy.Facts("label /dev/a1 two\nlabel /dev/a7 three\n")
        self.assertEqual(list(policy.check_labels(facts, self.patterns, self.prefixes)),
                         ["/dev/a1 is labelled one, and not two"])


if __name__ == "__main__":
    unittest.main()
