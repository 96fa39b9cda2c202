"""Which commands of the documents are not run to the letter, what is run instead, and why.

The first rule whose pattern is the whole command counts; what no rule knows is run as it stands.
"""
import dataclasses
import re
import shlex
import typing

import document_shell


def instead(replacement):
    """Another command, made of the groups of the pattern."""
    return lambda match: match.expand(replacement)


def interrupted(match):
    """The command, with Ctrl-C typed at its first output."""
    return "interrupted " + shlex.quote(match.group(0))


@dataclasses.dataclass(frozen=True)
class Rule:
    pattern: str
    run: typing.Callable
    reason: str
    places: tuple = ("host", "phone", "package")


# A command line of one program and its arguments.
ARGUMENTS = r"(?: [^&|;<>]*)?"
BIN = r"(?:build/release/bin/)?"
# Where gdb finds the service's functions.
NAMESPACE = "vendor::qmx::hardware::bivista::V1_1::implementation"
# What is typed there is typed with ./run.sh up: a second phone is the reader's to put elsewhere.
BESIDE_PHONE = ("README.md",)

RULES = (
    Rule(rf"(\./test\.sh{ARGUMENTS})", instead(r"\1 --list"),
         "is what runs this: whether there are such steps"),
    Rule(r"\./run\.sh", instead('test -S "$HIDL_SOCKET_DIR/emulator.sock"'),
         "is up while the commands run"),
    Rule(r"\./run\.sh --tour", instead("./test.sh --only tour --list"), "is a step of ./test.sh"),
    Rule(rf"((?:vts/mutate\.py|bench/run\.sh){ARGUMENTS})", instead(r"\1 --list"),
         "a step of its own, or for a quiet machine: whether it knows these names"),
    Rule(r"(cmake --preset (asan|debug) && cmake --build --preset \2)( --target \S+)?", instead(r"\1\3 -- -n"),
         "a step of ./test.sh builds that, or is built so: whether there is such a preset and target"),
    Rule(r"(?:SOAK_CYCLES=1000 )?(ctest --preset asan .*)", instead(r"\1 -N | grep 'Total Tests: [1-9]'"),
         "a step of ./test.sh runs them: whether there are such tests"),
    Rule(rf"((?:HIDL_SOCKET_DIR=\S+ )?{BIN}bivista-emulator run -- gdb) -ex run build/debug/(\S+)",
         instead(rf"\1 -batch -ex 'tbreak {NAMESPACE}::Bivista::bv_update_state' -ex run -ex 'backtrace 1'"
                 r" build/release/\2"),
         "asks for commands: the last fails unless the service comes as far; not built for debugging here"),
    Rule(r"""gdb (?:-iex '[^']+' )?-p "[^"]+\"""", instead(r"\g<0> -batch -ex 'info line main'"),
         "asks for commands: one that fails without the process, or without its symbols"),
    Rule(r"SOAK_CYCLES=1000 (ctest .*)", instead(r"SOAK_CYCLES=20 \1 --no-tests=error"),
         "takes minutes: fewer cycles"),
    Rule(r"(build/fuzz/fuzz/.*) -max_total_time=60 (.*)", instead(r"\1 -runs=10000 \2"),
         "takes a minute: fewer inputs"),
    Rule(r"(.*\bctest .*)", instead(r"\1 --no-tests=error"), "ctest is content with no tests at all"),
    Rule(rf"{BIN}bivistactl watch .*|{BIN}bivista-emulator ctl \w+ --follow"
         rf"|{BIN}bivista-emulator run(?: --journal \S+)?"
         r"|journalctl .*-f|adb logcat (?!.*-d\b).*", interrupted, "ends by Ctrl-C"),
    Rule(r"(bivistactl|bivista-emulator) ([A-Z]+) --help", instead(r"\1 --help"),
         "stands for any of its commands"),
    Rule(r"bivista-emulator ctl", instead(r"bivista-emulator ctl --help"), "stands for its commands"),
    Rule(r"lshal debug", instead(r"\g<0> vendor.qmx.hardware.bivista@1.1::IBivista/default"),
         "stands for that of the service"),
    Rule(r"(?:ls|cat) /(?:dev|sys)/\S*", instead(r'HIDL_SOCKET_DIR=$(mktemp -d) '
                                                 r"bivista-emulator run -- sh -c '\g<0>'"),
         "has a cover: the emulated phone"),
    Rule(rf"({BIN}bivista-emulator ctl log .*)",
         lambda match: f"timeout 60 sh -c {shlex.quote(f'until {match.group(1)}; do sleep 0.05; done')}",
         "refused until the phone listens, which a person does not notice"),
    Rule(r"bivistactl sub on", instead(r"bivistactl sub off && \g<0>"), "refused when it is on already"),
    Rule(r"bivistactl offset 0", instead(r"bivistactl power on && \g<0>"), "refused while the screen is off"),
    Rule(r"fpath\+=\((\S+)\)", instead(r"test -d \1"), "zsh takes a folder that is not there"),
)


def find(block, command):
    """The rule for a command of a block; None when it is run as it stands."""
    for rule in RULES:
        if block.place in rule.places and re.fullmatch(rule.pattern, command.text, re.DOTALL):
            return rule
    return None


def to_run(block, command):
    """What the shell is given."""
    rule = find(block, command)
    if rule is None:
        return command.text
    return rule.run(re.fullmatch(rule.pattern, command.text, re.DOTALL))


def steps(block):
    """The block as the shell is given it."""
    return [document_shell.Step(f"{block.path}:{command.line}", command.text,
                                to_run(block, command), frozenset(command.statuses()))
            for command in block.commands]


def runs_phone(block):
    """Whether it has a phone of its own, which is given a registry of its own."""
    return block.path not in BESIDE_PHONE and block.mentions(r"\bbivista-emulator run\b")
