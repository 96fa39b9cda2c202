"""Does AT exchanges as a Python program would, and prints the median time of one in microseconds.

Each opens the port, switches the power control, sends the command, reads three lines, switches the
power control back and closes the port. Usage: pyserial_exchange.py COUNT
"""
import statistics
import sys
import time

import serial

CONTROL = "/sys/class/tty/ttyACM0/device/../power/control"


def write_control(value):
    with open(CONTROL, "w", encoding="ascii") as node:
        node.write(value)


def exchange():
    with serial.Serial("/dev/ttyACM0", 115200, timeout=5) as port:
        write_control("on")
        port.write(b"AT%SWV\r")
        for _ in range(3):
            if not port.readline():
                raise SystemExit("the cover did not answer")
    write_control("auto")


def main():
    times = []
    for _ in range(int(sys.argv[1])):
        start = time.perf_counter()
        exchange()
        times.append((time.perf_counter() - start) * 1e6)
    print(statistics.median(times))


main()
