"""Tests of policy.py."""
import unittest

import policy

TABLE = "# why\n\nallow a file open read\nallow a file ioctl\nallowxperm a file ioctl 0x12 0x5402\n" \
        "deny b file write\nlabel /dev/x a\n"
OPEN, READ, WRITE = ("a", "file", "open"), ("a", "file", "read"), ("b", "file", "write")
IOCTL = ("a", "file", "ioctl")
NUMBERS = {("a", "file", 0x12), ("a", "file", 0x5402)}


class FactsTest(unittest.TestCase):
    def test_reads_a_table(self):
        facts = policy.Facts(TABLE)
        self.assertEqual(facts.allowed, {OPEN, READ, IOCTL})
        self.assertEqual(facts.ioctls, NUMBERS)
        self.assertEqual(facts.denied, {WRITE})
        self.assertEqual(facts.labels, [("/dev/x", "a")])

    def test_refuses_what_it_does_not_know(self):
        for line in ("permit a file open", "allow a file", "label /dev/x", "deny a",
                     "allowxperm a file ioctl", "allowxperm a file read 0x1",
                     "allowxperm a file 0x1"):
            with self.assertRaisesRegex(ValueError, f"what is '{line}'"):
                policy.Facts(line)


class AccessTest(unittest.TestCase):
    facts = policy.Facts(TABLE)

    def test_what_is_allowed_is_what_is_needed(self):
        self.assertEqual(list(policy.check_accesses(self.facts, {OPEN, READ, IOCTL})), [])

    def test_a_missing_access_is_found(self):
        self.assertEqual(list(policy.check_accesses(self.facts, {OPEN, IOCTL})),
                         ["needed and not allowed: a file read"])

    def test_an_access_too_many_is_found(self):
        self.assertEqual(list(policy.check_accesses(self.facts, {OPEN, READ, IOCTL, ("a", "file", "map")})),
                         ["allowed and not needed: a file map"])

    def test_a_denied_access_that_is_allowed_is_named_as_such(self):
        self.assertIn("to be denied and allowed: b file write",
                      policy.check_accesses(self.facts, {OPEN, READ, IOCTL, WRITE}))

    def test_a_denied_access_must_be_one_that_could_be_allowed(self):
        self.assertEqual(list(policy.check_names(self.facts, {"b"}, {"file": {"write"}})), [])
        for types, permissions in (({"a"}, {"file": {"write"}}), ({"b"}, {"file": {"read"}}),
                                   ({"b"}, {"dir": {"write"}})):
            self.assertEqual(list(policy.check_names(self.facts, types, permissions)),
                             ["the policy knows no b file write"])


class IoctlTest(unittest.TestCase):
    facts = policy.Facts(TABLE)

    def test_what_is_allowed_is_what_is_needed(self):
        self.assertEqual(list(policy.check_ioctls(self.facts, NUMBERS)), [])

    def test_a_missing_number_is_found(self):
        self.assertEqual(list(policy.check_ioctls(self.facts, {("a", "file", 0x12)})),
                         ["needed and not allowed: a file ioctl 0x5402"])

    def test_no_rule_at_all_is_found(self):
        self.assertEqual(list(policy.check_ioctls(self.facts, set())),
                         ["needed and not allowed: a file ioctl 0x0012",
                          "needed and not allowed: a file ioctl 0x5402"])

    def test_a_number_too_many_is_found(self):
        self.assertEqual(list(policy.check_ioctls(self.facts, NUMBERS | {("a", "file", 0x5403)})),
                         ["allowed and not needed: a file ioctl 0x5403"])

    def test_a_rule_too_many_is_found(self):
        self.assertEqual(list(policy.check_ioctls(self.facts, NUMBERS | {("b", "file", 0x1)})),
                         ["allowed and not needed: b file ioctl 0x0001"])

    def test_an_ioctl_has_numbers(self):
        facts = policy.Facts(TABLE + "allow b chr_file ioctl\n")
        self.assertEqual(list(policy.check_ioctls(facts, NUMBERS)), ["may be any: b chr_file ioctl"])


class ContextsTest(unittest.TestCase):
    def check(self, text):
        return list(policy.check_contexts("f", text, {"known", "other"}))

    def test_types_of_the_policy(self):
        self.assertEqual(self.check("# why\n\na.b::IC    u:object_r:known:s0\n"
                                    "x.y  u:object_r:other:s0 exact string\n"), [])

    def test_a_type_that_the_policy_lacks(self):
        self.assertEqual(self.check("# why\na  u:object_r:known:s0\nb  u:object_r:unknown:s0\n"),
                         ["f:3: the policy knows no unknown"])

    def test_a_line_that_is_no_context(self):
        for line in ("a", "a u:r:known:s0", "a known", "a u:object_r:known:s0:c0"):
            self.assertEqual(self.check(line + "\nb u:object_r:known:s0\n"),
                             ["f:1: no context of an object"])

    def test_no_line(self):
        self.assertEqual(self.check("# why\n"), ["f: labels nothing"])


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
