#!/usr/bin/env python3
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Counts the instructions that an AT exchange and a frame take in a service (valgrind's callgrind), and
prints a row (bench/Row.h) for each.

Usage: instructions.py SERVICE [OTHER]. The reference is OTHER, a service that was built elsewhere; without
one it is what the service took before it kept a history, compiled by Debian 12's clang 14 for x86-64."""
import contextlib
import json
import os
import pathlib
import platform
import re
import struct
import subprocess
import sys
import tempfile
import time

BIN = pathlib.Path(__file__).resolve().parents[2] / "build/release/bin"
LIMIT = 1.03
# What was counted at 8d5ebab, the last commit without a history. A change that is worth its
# instructions counts them anew with the service before it as OTHER, and tells the figures.
BEFORE = {"exchange": 6454, "frame": 43053}
FEW, MANY = 5, 45
COLLECTED = re.compile(r"Collected : (\d+)")


class Phone:
    """An emulated phone with this service under callgrind, which counts inside these functions."""

    def __init__(self, service, functions, folder):
        # Valgrind does not read what clang writes for debuggers.
        program = folder / "service"
        subprocess.run(["strip", "-g", "-o", program, service], check=True)
        self.environment = {**os.environ, "HIDL_SOCKET_DIR": str(folder), "HOST_LOG_LEVEL": "silent"}
        self.environment.pop("HOST_TRACE_FILE", None)
        self.log = folder / "log"
        toggles = [f"--toggle-collect=*{function}(*" for function in functions]
        with open(self.log, "wb") as log:
            self.process = subprocess.Popen(
                [BIN / "bivista-emulator", "run", "--", "valgrind", "--tool=callgrind", "--collect-atstart=no",
                 "--callgrind-out-file=/dev/null", *toggles, program],
                env=self.environment, stdout=log, stderr=subprocess.STDOUT)

    def ctl(self, *words):
        return subprocess.run([BIN / "bivistactl", *words], env=self.environment, check=True, capture_output=True,
                              text=True).stdout

    def end(self):
        """The instructions that were counted."""
        self.process.terminate()
        self.process.wait()
        return int(COLLECTED.search(self.log.read_text())[1])


def exchange(phone, _folder):
    phone.ctl("call", "getFirmwareVersion")


def frame(phone, folder):
    picture = folder / "frame"
    picture.write_bytes(struct.pack("<I", 0x70) * 128 * 128)
    sent = frames(phone)["sent"]
    phone.ctl("call", "drawSubDisplay", f"@{picture}")
    while frames(phone)["sent"] == sent:
        time.sleep(0.01)


def frames(phone):
    return json.loads(phone.ctl("dump", "--json"))["frames"]


SUBJECTS = {"exchange": (exchange, ["Bivista::serialAtCmd"]),
            "frame": (frame, ["Bivista::drawSubDisplay", "subDisplayUpdateThread"])}


def count(service, subject, times):
    act, functions = SUBJECTS[subject]
    with tempfile.TemporaryDirectory() as name, contextlib.ExitStack() as stack:
        folder = pathlib.Path(name)
        phone = Phone(service, functions, folder)
        stack.callback(phone.process.wait)
        stack.callback(phone.process.terminate)
        phone.ctl("wait", "attached", "sub=ON", "--timeout", "120")
        for _ in range(times):
            act(phone, folder)
        return phone.end()


def each(service, subject):
    """Of one more: what the start and the attach take is in both counts."""
    return (count(service, subject, MANY) - count(service, subject, FEW)) / (MANY - FEW)


def main(service, other=None):
    if other is None and platform.machine() != "x86_64":
        print("no reference for this processor: give a service that was built before", file=sys.stderr)
        return
    for subject in SUBJECTS:
        value = each(service, subject)
        reference = each(other, subject) if other else BEFORE[subject]
        print(json.dumps({"name": f"instructions of {subject}", "unit": "", "value": value, "reference": reference,
                          "ratio": value / reference, "limit": LIMIT}), flush=True)


main(*sys.argv[1:])
