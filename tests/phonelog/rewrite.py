#!/usr/bin/env python3
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Rewrites the service's log of a host as a phone's logger would have it: `logcat -v threadtime`.

usage: rewrite.py [--rotate TEXT] [--expire FIRST LAST] < HOST_LOG > PHONE_LOG

Each line of a message gets its header, other processes' lines (invented) stand among the service's, and
process ids, threads and the date are always the same, so that a log that is made anew differs only where
the service does. --rotate drops all before the first line with TEXT, as a full buffer does; --expire
replaces what the service said from the first line with FIRST to the next one with LAST by the logger's
own remark.
"""
import argparse
import datetime
import re
import sys

TAG = b"vendor.qmx.hardware.bivista@1.1-service"
HEADER = re.compile(TAG + rb" ([VDIWEF]) (\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}) +(\d+) +(\d+) ?(.*)", re.DOTALL)
PID = 731
# The phone's C library writes null pointers so; others differ at each start.
NULL = re.compile(rb"\(nil\)")
POINTER = re.compile(rb"0x7[0-9a-f]{11}|0x5[0-9a-f]{11}")
FIRST = datetime.datetime(2000, 8, 14, 9, 21, 7)
# Process, thread, priority, tag, text; none of them is a program that exists.
OTHERS = (
    (512, 512, "I", "clockd", "next alarm in 1800 s"),
    (1604, 1621, "D", "WeatherTile", "refresh: 3 places, 2 of them cached"),
    (512, 530, "W", "clockd", "drift of 12 ms"),
    (688, 688, "E", "lamp@1.0-service", "serialAtCmd: rd: [OK]"),
    (1604, 1604, "V", "WeatherTile", "layout: 4 rows"),
    (903, 917, "I", "notes", "saved: 0 changed, 17 kept"),
)
EVERY = 7  # lines of the service between two of others


def messages(lines):
    """Header fields and the text of each message, which may have several lines."""
    found = []
    for line in lines:
        match = HEADER.fullmatch(line.rstrip(b"\n"))
        if match:
            found.append(list(match.groups()))
        elif found:
            found[-1][4] += b"\n" + line.rstrip(b"\n")
    return found


def header(time, pid, tid, priority, tag):
    stamp = time.strftime("%m-%d %H:%M:%S.") + f"{time.microsecond // 1000:03d}"
    return f"{stamp} {pid:5d} {tid:5d} {priority} {tag:<8s}: ".encode()


def expire(found, first, last):
    """Drops the messages, and puts None in the place of the first."""
    begin = next(i for i, message in enumerate(found) if first in message[4])
    end = next(i for i in range(begin, len(found)) if last in found[i][4])
    count = end - begin + 1
    found[begin:end + 1] = [found[begin][:4] + [None, count]]


def rewrite(lines, rotate=None, gap=None):
    found = messages(lines)
    if rotate:
        del found[:next(i for i, message in enumerate(found) if rotate in message[4])]
    if gap:
        expire(found, *gap)
    parse = lambda text: datetime.datetime.strptime("2000-" + text.decode(), "%Y-%m-%d %H:%M:%S.%f")
    start = parse(found[0][1])
    # The first thread of a process has its number.
    threads = {found[0][2].decode(): PID}
    yield b"--------- beginning of main\n"
    for number, message in enumerate(found):
        priority, stamp, _, tid = (field.decode() for field in message[:4])
        time = FIRST + (parse(stamp.encode()) - start)
        tid = threads.setdefault(tid, PID + 7 * len(threads))
        if number % EVERY == 3:
            other = OTHERS[number // EVERY % len(OTHERS)]
            yield header(time, *other[:4]) + other[4].encode() + b"\n"
        if message[4] is None:
            yield (header(time, PID, tid, "I", "chatty") +
                   f"uid=1000(system) vendor.qmx.har expire {message[5]} lines\n".encode())
            continue
        text = POINTER.sub(b"0x7c5e40d2f8", NULL.sub(b"0x0", message[4]))
        if text.endswith(b"\n"):
            text = text[:-1]
        for part in text.split(b"\n"):
            yield header(time, PID, tid, priority, TAG.decode()) + part + b"\n"
        if number == len(found) // 2:
            yield b"--------- beginning of system\n"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--rotate", type=str.encode)
    parser.add_argument("--expire", nargs=2, type=str.encode)
    arguments = parser.parse_args()
    sys.stdout.buffer.writelines(rewrite(sys.stdin.buffer, arguments.rotate, arguments.expire))


if __name__ == "__main__":
    main()
