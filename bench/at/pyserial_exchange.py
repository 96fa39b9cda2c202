# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Does AT exchanges as a Python program would: opens the port, switches the power control, sends the
command, reads three lines, switches the power control back and closes the port.

For each line on standard input, which holds a count, does as many exchanges and prints the time of
one in microseconds. Leaves the port's line settings as it found them.
"""
import os
import sys
import termios
import time

import serial

PORT = "/dev/ttyACM0"
CONTROL = "/sys/class/tty/ttyACM0/device/../power/control"


def write_control(value):
    with open(CONTROL, "w", encoding="ascii") as node:
        node.write(value)


def exchange():
    with serial.Serial(PORT, 115200, timeout=5) as port:
        write_control("on")
        port.write(b"AT%SWV\r")
        for _ in range(3):
            if not port.readline():
                raise SystemExit("the cover did not answer")
    write_control("auto")


def main():
    port = os.open(PORT, os.O_RDWR | os.O_NOCTTY)
    settings = termios.tcgetattr(port)
    for line in sys.stdin:
        count = int(line)
        start = time.perf_counter()
        for _ in range(count):
            exchange()
        elapsed = time.perf_counter() - start
        termios.tcsetattr(port, termios.TCSANOW, settings)
        print(elapsed / count * 1e6, flush=True)


main()
