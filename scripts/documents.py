#!/usr/bin/env -S python3 -B
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Runs the commands of the documents, and prints those that fail, as FILE:LINE: COMMAND: exit N.

usage: scripts/documents.py [DOCUMENT...]

Commands are those of blocks marked `sh`, and inline code that begins with a program of ours. A comment "exits N" after
a command means that N is right. They run in the project's root, each block with an emulated phone of its own, some as
INSTEAD has them. Of blocks marked `sh phone` and `sh package`, which take a phone or an installed package, only the
syntax is checked.

Exit status: 0 all commands do what the documents say, 1 some do not.
"""
import os
import pathlib
import re
import shlex
import signal
import subprocess
import sys
import tempfile
import typing

ROOT = pathlib.Path(__file__).resolve().parent.parent
FENCE = re.compile(r" *```(.*)$")
INLINE = re.compile(r"`([^`]+)`")
COMMENT = re.compile(r"(?:^|\s+)# (.*)$")
EXIT_STATUS = re.compile(r"\bexits (\d+)\b")
OURS = re.compile(r"(?:\w+=\S+ )*(?:\./(?:run|test)\.sh|bench/run\.sh|vts/\w+\.\w+|bivista-emulator|bivista-vts|bivistactl"
                  r"|cmake|ctest|curl|gdb|man|python3|build/\S+) \S.*", re.DOTALL)
USES_PHONE = re.compile(r"\b(?:bivista-emulator ctl|bivistactl|bivista-vts|emulated\.sh|emulator\.sock|pidof|bivista\.\w*Client)\b")
BRINGS_PHONE = re.compile(r"\bbivista-emulator run\b")
# A block that hangs is ended; the longest are builds and tests.
LIMIT = 1800

PROGRAM = r"(?:build/release/bin/)?bivista"
SERVICE = "vendor::qmx::hardware::bivista::V1_1::implementation::Bivista"
# What this script runs in the place of a whole command; the first pattern that matches counts.
INSTEAD = [(re.compile(pattern, re.DOTALL), text) for pattern, text in (
    # They take too long here: whether there are such options, steps and names.
    (r"\./run\.sh.*", r"\g<0> --help"),
    (r"(?:\./test\.sh|vts/mutate\.py|bench/run\.sh).*", r"\g<0> --list"),
    (r"cmake --preset (?:asan|debug) && cmake --build .*", r"\g<0> -- -n"),
    (r"(?:SOAK_CYCLES=1000 )?(ctest --preset asan .*)", r"\1 -N | grep 'Total Tests: [1-9]'"),
    # Fewer cycles and inputs, since they take minutes. ctest succeeds without any tests.
    (r"SOAK_CYCLES=1000 (ctest .*)", r"SOAK_CYCLES=20 \1 --no-tests=error"),
    (r"(ctest .*)", r"\1 --no-tests=error"),
    (r"(build/fuzz/.*) -max_total_time=60 (.*)", r"\1 -runs=10000 \2"),
    # gdb would ask for commands. These fail where the process does not come as far, or has no symbols.
    (rf"(.*{PROGRAM}-emulator run -- gdb) -ex run build/debug/(\S+)",
     rf"\1 -batch -ex 'tbreak {SERVICE}::bv_update_state' -ex run -ex 'backtrace 1' build/release/\2"),
    (r'(gdb [^"]*-p "[^"]+")', r"\1 -batch -ex 'info line main'"),
    # Ctrl-C ends them.
    (rf"{PROGRAM}ctl watch .*|{PROGRAM}-emulator ctl \w+ --follow|{PROGRAM}-emulator run(?: --ui| --journal \S+)?"
     rf"|{PROGRAM}-emulator ui(?: --open)?",
     lambda match: f"interrupted {shlex.quote(match[0])}"),
    # The emulator refuses it until the phone listens; a person types too slowly to notice.
    (rf"{PROGRAM}-emulator ctl log .*", r"until \g<0>; do sleep 0.05; done"),
)]

HEAD = r"""
failed=0
# judge PLACE-AND-COMMAND STATUS: reports the command that has just ended, if its status is another one.
judge() {
    local outcome=$?
    [ $outcome = "$2" ] && return
    failed=1
    printf '%s\n' "$1: exit $outcome"
    sed 's/^/    /' "$work/output"
}
# interrupted COMMAND-LINE: types Ctrl-C at its first output.
interrupted() {
    local outcome=0
    # What an earlier command has printed is no output of this one, which may not have begun.
    : >"$work/interrupted"
    set -m
    bash -c "$1" >"$work/interrupted" 2>&1 &
    set +m
    while [ ! -s "$work/interrupted" ] && kill -0 $!; do sleep 0.05; done 2>/dev/null
    kill -INT -- -$! 2>/dev/null
    wait $! || outcome=$?
    cat "$work/interrupted"
    [ -s "$work/interrupted" ] && { [ $outcome = 0 ] || [ $outcome = 130 ]; }
}
# Other phones on this machine may run the same programs.
pidof() {
    grep -lzxF "HIDL_SOCKET_DIR=$HIDL_SOCKET_DIR" /proc/[0-9]*/environ 2>/dev/null | cut -d/ -f3 | while read -r process; do
        [[ $(readlink "/proc/$process/exe") != */"${!#}" ]] || echo "$process"
    done
}
mkdir -m 0700 "$HIDL_SOCKET_DIR"
"""
PHONE = r"""
: >"$work/service.log"
bivista-emulator run >>"$work/service.log" 2>&1 &
phone=$!
# A subshell that Ctrl-C ends runs the trap, too.
trap '[ $BASHPID != $$ ] || { kill $phone; wait $phone; }' EXIT
for line in 'bv_update_state : ATCMD_Status' 'setSubDisplayPowerState --'; do
    until grep -qaF -- "$line" "$work/service.log"; do
        kill -0 $phone || { cat "$work/service.log"; exit 1; }
        sleep 0.05
    done
done
"""
TAIL = "exit $((10 + failed))\n"


class Command(typing.NamedTuple):
    line: int
    text: str
    status: int = 0  # the right one

    def to_run(self):
        for pattern, instead in INSTEAD:
            match = pattern.fullmatch(self.text)
            if match:
                return instead(match) if callable(instead) else match.expand(instead)
        return self.text


def is_whole(text):
    """Whether a shell would run this without asking for another line."""
    checked = subprocess.run(["bash", "-n", "-c", text], capture_output=True, check=False)
    # Of a here-document without its end bash only warns.
    return not text.endswith("\\") and not checked.returncode and b"here-document" not in checked.stderr


def commands_of(lines):
    """The commands of numbered lines; the last line counts although it is not whole."""
    begun, pending, status = 0, [], 0
    for number, line in lines:
        text = COMMENT.sub("", line)
        if not text.strip() and not pending:
            continue
        begun = begun if pending else number
        pending.append(text)
        right = EXIT_STATUS.search(line[len(text):])
        status = int(right[1]) if right else status
        if is_whole("\n".join(pending)) or number == lines[-1][0]:
            yield Command(begun, "\n".join(pending), status)
            pending, status = [], 0


def blocks(text):
    """(mark, commands) of what each shell runs, in order. The mark of inline code is `sh`."""
    mark, inside, inline = None, [], set()
    for number, line in enumerate(text.split("\n"), 1):
        fence = FENCE.match(line)
        if fence and mark is None:
            mark, inside = fence[1].strip(), []
        elif fence:
            if mark.split(" ")[0] == "sh":
                yield mark, list(commands_of(inside))
            mark = None
        elif mark is not None:
            inside.append((number, line))
        else:
            found = set(filter(OURS.fullmatch, INLINE.findall(line))) - inline
            inline |= found
            yield from (("sh", [Command(number, command)]) for command in sorted(found))


def findings(path, mark, commands, limit=LIMIT):
    """Runs a block, in which something begins with its place. Returns the lines that say what failed."""
    if mark != "sh":
        return [f"{path}:{each.line}: {each.text}: no whole command" for each in commands if not is_whole(each.text)]
    texts = "\n".join(command.text for command in commands)
    script = HEAD + (PHONE if USES_PHONE.search(texts) and not BRINGS_PHONE.search(texts) else "")
    for each in commands:
        place = shlex.quote(f"{path}:{each.line}: {each.text}")
        script += f'{{\n{each.to_run()}\n}} >"$work/output" 2>&1\njudge {place} {each.status}\n'
    with tempfile.TemporaryDirectory(prefix="bivista-documents-") as work:
        environment = {**os.environ, "PATH": f"{ROOT}/build/release/bin:{os.environ['PATH']}", "work": work,
                       "HIDL_SOCKET_DIR": f"{work}/registry"}
        # The caller of this program may ignore signals; a person's shell does not.
        with subprocess.Popen(["env", "--default-signal", "bash", "-c", script + TAIL], cwd=ROOT, env=environment, text=True,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, errors="replace",
                              start_new_session=True) as process:
            try:
                output = process.communicate(timeout=limit)[0]
            except BaseException as interruption:
                os.killpg(process.pid, signal.SIGKILL)
                if not isinstance(interruption, subprocess.TimeoutExpired):
                    raise
                return [f"{path}:{commands[0].line}: still running after {limit} s"]
    if process.returncode not in (10, 11):
        output += f"{path}:{commands[0].line}: the shell has left before the end of the block\n"
    return output.splitlines()


def git(*words):
    return subprocess.run(["git", *words], cwd=ROOT, capture_output=True, text=True, check=True).stdout


def main(arguments):
    paths = arguments or git("ls-files", "*.md").split()
    signal.signal(signal.SIGINT, signal.default_int_handler)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    before, failures = git("status", "--porcelain"), 0
    for path in paths:
        found = list(blocks((ROOT / path).read_text(encoding="utf-8")))
        print(f"{path}: {sum(len(commands) for _, commands in found)} commands", flush=True)
        for mark, commands in found:
            lines = findings(path, mark, commands)
            failures += bool(lines)
            print(*lines, sep="\n", end="\n" if lines else "", flush=True)
    if git("status", "--porcelain") != before:
        print(f"the commands have changed the project's files:\n{git('status', '--porcelain')}")
        failures += 1
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
