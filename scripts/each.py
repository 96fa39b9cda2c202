#!/usr/bin/env -S python3 -B
"""Runs a command for each file, as many at a time as there are processors.

usage: scripts/each.py COMMAND... -- FILE...

The file is the command's last argument. Prints a line "[3/12] FILE" for each that has ended, and after it what
the command said where it failed. Exit status: 0 all succeeded, 1 some did not, 2 usage.
"""
import concurrent.futures
import os
import signal
import subprocess
import sys


def run(command, file):
    """What the command says of a file that it fails for; None when it succeeds."""
    ended = subprocess.run([*command, file], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                           stderr=subprocess.STDOUT, text=True, errors="replace", check=False)
    return None if ended.returncode == 0 else f"{ended.stdout}{file}: exit {ended.returncode}\n"


def run_all(command, files):
    """Gives the exit status."""
    status = 0
    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        pending = {pool.submit(run, command, file): file for file in files}
        for number, ended in enumerate(concurrent.futures.as_completed(pending), 1):
            print(f"[{number}/{len(files)}] {pending[ended]}", flush=True)
            if ended.result() is not None:
                status = 1
                print(ended.result(), end="", flush=True)
    return status


def main(arguments):
    place = arguments.index("--") if "--" in arguments else 0
    if place == 0 or place == len(arguments) - 1:
        print(__doc__.split("\n\n")[1], file=sys.stderr)
        return 2
    # Ctrl-C leaves the remaining files alone.
    if signal.getsignal(signal.SIGINT) is signal.default_int_handler:
        signal.signal(signal.SIGINT, signal.SIG_DFL)
    return run_all(arguments[:place], arguments[place + 1:])


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
