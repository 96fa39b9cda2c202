"""Holds the counters of a debug dump against what the emulated phone has recorded.

usage: counters.py DUMP JOURNAL LOG

DUMP: what `bivistactl dump --json` printed when nothing was going on; JOURNAL: the emulator's journal
since the service started; LOG: the service's own, since what it refused reaches no phone. Prints one
line per counter that disagrees; exits 1 when there is one.
"""
import collections
import json
import re
import sys

# A command with its first argument, and without. The control characters of a journal's bytes are spelled.
COMMAND = re.compile(r"(([^=\\]+)(?:=[^,\\]*)?)[^\\]*\\r")
REJECTION = r"ERROR\r"
REFUSAL = re.compile(r"serialAtCmd: (No such device|Invalid argument|failed to open)")
RECOVERY = "/sys/class/bivista/bv2/bv2_recovery"
# Three reports of pixels, and an empty one that ends the frame.
REPORTS_PER_FRAME = 4


def bytes_of(journal, kind):
    return "".join(entry.get("bytes", "") for entry in journal if entry["kind"] == kind)


def received(journal, names):
    """How often the cover received each command, with its first argument where that is one of the names."""
    found = COMMAND.findall(bytes_of(journal, "tty-rx"))
    return collections.Counter(full if full in names else short for full, short in found)


def recoveries(journal):
    return sum(entry["kind"] == "node-write" and entry["path"] == RECOVERY for entry in journal)


def reports(journal):
    """Output reports: those that the panel took, and those that it refused."""
    notes = ["note" in entry for entry in journal if entry["kind"] == "hid-write"]
    return notes.count(False), notes.count(True)


def expected(dump, journal, log):
    """(counter, what the dump says, what the phone has recorded)."""
    rows = {row["name"]: row for row in dump["commands"]}
    commands = received(journal, rows)
    at, frames = dump["at"], dump["frames"]
    for name in sorted(commands | rows.keys()):
        yield f"commands {name}", rows.get(name, {}).get("count", 0), commands[name]
    taken, failed = reports(journal)
    rejected = bytes_of(journal, "tty-tx").count(REJECTION)
    waiting = sum(buffer["state"] != "FREE" for buffer in dump["buffers"])
    yield "at exchanges", at["exchanges"], sum(commands.values())
    yield "at failures", at["failures"] - at["timeouts"], rejected
    yield "at timeouts", at["timeouts"], recoveries(journal)
    yield "at recoveries", at["recoveries"], recoveries(journal)
    yield "at refused", at["refused"], len(REFUSAL.findall(log))
    yield "frames sent", frames["sent"] * REPORTS_PER_FRAME, taken
    yield "frames drawn", frames["drawn"], frames["sent"] + frames["dropped"] + waiting
    # The first attempt of a frame that is given up failed, and each of its retries.
    yield "frames retries", frames["retries"], failed - frames["dropped"] if failed else 0


def contradictions(dump):
    """What the dump says twice, differently."""
    for member in ("failures", "timeouts"):
        total = sum(row[member] for row in dump["commands"])
        if total != dump["at"][member]:
            yield f"at {member}: the commands' are {total}"
    for row in dump["commands"]:
        if not row["p50us"] <= row["p99us"] <= row["maxus"]:
            yield f"commands {row['name']}: percentiles out of order"


def check(dump, journal, log):
    for counter, says, recorded in expected(dump, journal, log):
        if says != recorded:
            yield f"{counter}: the dump says {says}, the phone {recorded}"
    yield from contradictions(dump)


def read(path):
    with open(path, encoding="utf-8", errors="replace") as file:
        return file.read()


def main():
    dump, journal, log = map(read, sys.argv[1:])
    entries = [json.loads(line) for line in journal.splitlines()]
    findings = list(check(json.loads(dump), entries, log))
    for finding in findings:
        print(finding)
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
