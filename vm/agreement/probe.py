#!/usr/bin/env python3
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Prints how files below /sys are opened on a phone: what the service never does, so that no journal shows it.

usage: bivista-emulator run --no-cover -- vm/agreement/probe.py
"""
import errno
import os

FOLDER = "/sys/class/bivista/bv2"
WRITE = {"O_WRONLY": os.O_WRONLY}
MAKE = {**WRITE, "O_CREAT": os.O_CREAT}

# Files, each with the flags of an open.
OPENS = [
    (f"{FOLDER}/bv2_hal_ready", MAKE),
    (f"{FOLDER}/bv2_hal_ready", {**MAKE, "O_EXCL": os.O_EXCL}),
    (f"{FOLDER}/absent", WRITE),
    (f"{FOLDER}/absent", MAKE),
    (f"{FOLDER}/absent/file", MAKE),
    (FOLDER, WRITE),
]


def outcome(path, flags):
    try:
        os.close(os.open(path, sum(flags.values())))
    except OSError as error:
        return errno.errorcode[error.errno]
    return "opened"


for file, names in OPENS:
    print(file, "|".join(names), outcome(file, names))
print("absent is", "there" if os.path.exists(f"{FOLDER}/absent") else "not there")
