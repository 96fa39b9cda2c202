#!/usr/bin/env python3
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Shows that the kept recordings find small changes of the service.

usage: tests/recordings/changes.py [BUILD_FOLDER]

Puts each change below into a copy of one source file of the service, builds the service with it, and
replays every recording of this folder to it. All other objects are those of the build folder (default:
build/release). At first the unchanged service is built and met in the same way, and must not differ.
Prints which recordings find which change, and in which lanes.
Exit status 0 when enough changes are found, 1 when not, 2 when the build folder is of no use.
"""
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "vts"))

import mutate  # noqa: E402
from defects import Useless, defect, replace  # noqa: E402

ENOUGH = 8
# A replay waits most of the time, so that many at once take little longer than one.
AT_ONCE = 20
# Seconds for a deed that does not come; the service itself waits for 5.
PATIENCE = 6
# Ends a replay that hangs.
TIMEOUT = 300

# Chosen before the recordings were made.
CHANGES = [
    defect("the echo of a command stays in the answer", "kernel/serial/SerialAt.cpp",
           replace("shown, mLine);\n        return false;", "shown, mLine);\n        mAnswer.store(mLine, mCount);\n"
                                                            "        return false;")),
    defect("the brightness offset is not applied", "display/Brightness.cpp",
           replace("    if (br_offset != 0 && brightness_value != 0) *level = br_to_offset_br(brightness_value, 0);\n",
                   "")),
    defect("power off sends no AT%BV=0", "display/Power.cpp",
           replace('const AtQuery<> query(service, "AT%BV=0\\r");', "const AtQuery<> query;")),
    defect("HPD is polled once fewer", "display/Power.cpp", replace("kPollTrials = 10", "kPollTrials = 9")),
    defect("the vote is not withdrawn after an exchange", "kernel/serial/SerialAt.cpp",
           replace("        service.usbAutoSuspend(true, true);\n", "")),
    defect("the two figures of bv2_pd are swapped", "display/Power.cpp",
           replace("{enable ? '1' : '0', ' ', uevent ? '1' : '0', '\\0'}",
                   "{uevent ? '1' : '0', ' ', enable ? '1' : '0', '\\0'}")),
    defect("a frame's second report begins one byte off", "kernel/hid/HidDisplay.cpp",
           replace("report.offset += static_cast<uint32_t>(done);", "report.offset += static_cast<uint32_t>(done) + 1;")),
    defect("a wake gesture is told the client twice", "display/UeventMonitor.cpp",
           replace("        const bool delivered",
                   "        if (status == LpwgEventStatus::WAKEUP) tellClient(callback, newer, status, result);\n"
                   "        const bool delivered")),
    defect("an upgrade is another number for the kernel", "kernel/firmware/FirmwareUpgrade.cpp",
           replace('kUpgrade = {1, "UPGRADE"}', 'kUpgrade = {2, "UPGRADE"}')),
    defect("a time-out pulls no recovery line", "kernel/serial/SerialAt.cpp",
           replace("        service.usbRecovery();\n", "")),
]


def recordings():
    found = sorted(pathlib.Path(__file__).resolve().parent.glob("*.jsonl"))
    if not found:
        raise Useless("no recording is there: tests/recordings/remake.sh makes them")
    return found


def lanes_of(output):
    """The lanes of which a replay shows differences, in their order."""
    return re.findall(r"^(\S.*), deed \d+$", output, re.MULTILINE)


def replay(build, service, recording):
    """The lanes in which the service differs; what the replay says when there is none to compare."""
    try:
        run = subprocess.run([build / "bin/bivista-emulator", "replay", recording, "--fast", "--patience",
                              str(PATIENCE), "--", service], capture_output=True, text=True, errors="replace",
                             timeout=TIMEOUT, check=False, stdin=subprocess.DEVNULL)
    except subprocess.TimeoutExpired:
        return ["hangs"]
    if run.returncode == 0:
        return []
    lines = run.stderr.strip().splitlines() or [""]
    return lanes_of(run.stdout) or [f"exit status {run.returncode}: {lines[-1]}"]


def short(lane):
    """A node's lane without the folders."""
    return "node " + os.path.basename(lane) if lane.startswith("node ") else lane


def print_row(number, name, found):
    """`found`: lanes by recording."""
    print(f"{number:>3}  {name:<48} {'' if found else 'MISSED'}", flush=True)
    for recording, lanes in found.items():
        print(f"       {recording:<24} {', '.join(short(lane) for lane in lanes)}", flush=True)


def meet_all(build, changes, kept, work):
    """The lanes that differ by recording, for each of the changes (None: no change)."""
    commands = mutate.commands_of(build)

    def make(numbered):
        number, change = numbered
        folder = work / str(number)
        folder.mkdir()
        return mutate.build_service(build, commands, change, folder)

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        services = list(pool.map(make, enumerate(changes)))
    meetings = [(service, recording) for service in services for recording in kept]
    with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
        met = list(pool.map(lambda meeting: replay(build, *meeting), meetings))
    for place in range(len(changes)):
        lanes = met[place * len(kept):(place + 1) * len(kept)]
        yield {recording.stem: found for recording, found in zip(kept, lanes) if found}


def main(arguments):
    build = (pathlib.Path(arguments[0]) if arguments else ROOT / "build/release").resolve()
    try:
        if not (build / "bin/bivista-emulator").is_file():
            raise Useless(f"{build}/bin/bivista-emulator is missing: build the preset first")
        kept = recordings()
        with tempfile.TemporaryDirectory(prefix="bivista-changes-") as work:
            results = meet_all(build, [None, *CHANGES], kept, pathlib.Path(work))
            unchanged = next(results)
            if unchanged:
                print_row("-", "the unchanged service differs", unchanged)
                raise Useless("recordings are remade by tests/recordings/remake.sh")
            found = 0
            for number, (change, met) in enumerate(zip(CHANGES, results), 1):
                print_row(number, change.name, met)
                found += bool(met)
    except Useless as error:
        print(f"error: {error}", file=sys.stderr)
        return 2
    print(f"{found} of {len(CHANGES)} changes found by {len(kept)} recordings; {ENOUGH} are enough")
    return 0 if found >= ENOUGH else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
