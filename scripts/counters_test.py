"""Tests of counters.py."""
import copy
import unittest

import counters

JOURNAL = [
    {"kind": "tty-rx", "path": "/dev/ttyACM0", "bytes": r"ATE0\rAT%DB=1"},
    {"kind": "tty-rx", "path": "/dev/ttyACM0", "bytes": r"28\r"},
    {"kind": "tty-tx", "path": "/dev/ttyACM0", "bytes": r"\r\nERROR\r\n"},
    {"kind": "tty-rx", "path": "/dev/ttyACM0", "bytes": r"AT%DB=255\r"},
    {"kind": "node-write", "path": "/sys/class/bivista/bv2/bv2_recovery", "bytes": "Y"},
    {"kind": "hid-write", "path": "/dev/hidraw0", "note": "EIO"},
    *[{"kind": "hid-write", "path": "/dev/hidraw0"}] * 4,
]
LOG = ("serialAtCmd: wr: [ATE0]\n"
       "serialAtCmd: No such device\n"
       "serialAtCmd: failed to open \"/dev/ttyACM0\": No such file or directory\n")


def row(name, count, failures=0, timeouts=0):
    return {"name": name, "count": count, "failures": failures, "timeouts": timeouts,
            "p50us": 1, "p99us": 2, "maxus": 2}


DUMP = {
    "at": {"exchanges": 3, "failures": 2, "timeouts": 1, "refused": 2, "recoveries": 1},
    "commands": [row("ATE0", 1), row("AT%DB", 2, failures=2, timeouts=1)],
    "frames": {"drawn": 2, "sent": 1, "dropped": 0, "retries": 1},
    "buffers": [{"index": 0, "state": "FREE"}, {"index": 1, "state": "READY"}],
}


def findings(journal=None, log=LOG, **changes):
    """With members of the dump's sections changed: section=(member, value)."""
    dump = copy.deepcopy(DUMP)
    for section, (member, value) in changes.items():
        dump[section][member] = value
    return list(counters.check(dump, journal if journal is not None else JOURNAL, log))


class CountersTest(unittest.TestCase):
    def test_what_agrees(self):
        self.assertEqual(findings(), [])

    def test_each_total(self):
        for section, member, recorded in (("at", "exchanges", 3), ("at", "refused", 2),
                                          ("at", "recoveries", 1), ("frames", "retries", 1)):
            self.assertEqual(findings(**{section: (member, 9)}),
                             [f"{section} {member}: the dump says 9, the phone {recorded}"])

    def test_failures_are_rejections_and_timeouts(self):
        self.assertIn("at failures: the dump says 2, the phone 1", findings(at=("failures", 3)))
        self.assertIn("at timeouts: the dump says 2, the phone 1", findings(at=("timeouts", 2)))

    def test_frames_that_the_panel_took(self):
        self.assertIn("frames sent: the dump says 8, the phone 4", findings(frames=("sent", 2)))

    def test_a_frame_that_is_nowhere(self):
        self.assertEqual(findings(frames=("drawn", 3)),
                         ["frames drawn: the dump says 3, the phone 2"])

    def test_a_command_that_the_service_did_not_count(self):
        self.assertEqual(findings(journal=JOURNAL + [{"kind": "tty-rx", "bytes": r"AT\r"}]),
                         ["commands AT: the dump says 0, the phone 1",
                          "at exchanges: the dump says 3, the phone 4"])

    def test_a_command_that_the_phone_did_not_get(self):
        self.assertEqual(findings(commands=(0, row("AT", 1))),
                         ["commands AT: the dump says 1, the phone 0",
                          "commands ATE0: the dump says 0, the phone 1"])

    def test_a_command_that_has_rows_by_its_argument(self):
        sent = [{"kind": "tty-rx", "bytes": r"AT%TCHNOTIFY=SD\rAT%TCHNOTIFY=SWTICH_AES,2\r"}]
        rows = [row("AT%TCHNOTIFY=SD", 1), row("AT%TCHNOTIFY=SWTICH_AES", 1)]
        dump = copy.deepcopy(DUMP)
        dump["at"]["exchanges"] += 2
        dump["commands"] += rows
        self.assertEqual(list(counters.check(dump, JOURNAL + sent, LOG)), [])
        dump["commands"].pop()
        self.assertEqual(list(counters.check(dump, JOURNAL + sent, LOG)),
                         ["commands AT%TCHNOTIFY: the dump says 0, the phone 1"])

    def test_rows_add_up(self):
        self.assertEqual(["at timeouts: the commands' are 2"],
                         findings(commands=(0, row("ATE0", 1, timeouts=1))))

    def test_percentiles_in_order(self):
        self.assertEqual(findings(commands=(0, {**row("ATE0", 1), "p50us": 3})),
                         ["commands ATE0: percentiles out of order"])


if __name__ == "__main__":
    unittest.main()
