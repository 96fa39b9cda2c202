#!/usr/bin/env python3
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Shows that the conformance suite finds defects.

usage: vts/mutate.py [BUILD_FOLDER] [DEFECT...] [--list]

Puts one defect of defects.py after another into a copy of one source file of the service, builds the
service with it, and runs the suite, which must fail. The suite itself is the one of the build folder
(default: build/release), made from the unchanged interfaces; so are all other objects of the service.
At first the unchanged service is linked and met in the same way, and must pass. Prints a table, and
below it the defects that the interface cannot show, with the reason: those must not fail the suite.
Exit status 0 when all were met so, 1 when not, 2 when the build folder is of no use. With --list it
prints the defects that it would seed, and ends.
"""
import concurrent.futures
import dataclasses
import os
import pathlib
import shlex
import signal
import subprocess
import sys
import tempfile
import time

import defects
from defects import Useless

ROOT = pathlib.Path(__file__).resolve().parent.parent
SERVICE = "vendor.qmx.hardware.bivista@1.1-service"
# Ends a suite that hangs, which is not how a defect is to be found.
SUITE_TIMEOUT = 300
START_TIMEOUT = 60
# A suite waits most of the time, so that many at once take little longer than one.
AT_ONCE = 12


@dataclasses.dataclass(frozen=True)
class Phone:
    """A surrounding of the service."""
    suite: tuple  # options of the suite
    emulator: tuple = ()  # options of the emulator
    before: tuple = ()  # what `bivista-emulator ctl` does before the suite starts
    logged: str = ""  # what the service logs before the suite starts


# The suite does not wait for a panel that it is not promised, and skips what needs one.
HAS_PANEL = "initSubDisplay -- "
ATTACHED = ("--with=cover,panel,nodes,folder,accessory", "--allow-loader")
UPGRADE = ("--with=cover,nodes,folder", "--allow-loader",
           "--gtest_filter=*FirmwareFileTest*:*UpgradeTest*")


def faults(*texts):
    """Options of the emulator."""
    return tuple(word for text in texts for word in ("--fault", text))


def images(*names):
    """Files in the phone's folder of firmware images; to write one into the cover takes little time."""
    return (("cover", "--upgrade-ms", "500"), *(("firmware", "put", name) for name in names))


# The cover's firmware is BV330-V10k_20210312. A folder is read from either end.
PHONES = {
    "cover": Phone((*ATTACHED, "--gtest_filter=-*LoaderTest*")),
    # One that takes a few commands less, so that commands differ in their outcome.
    "picky": Phone((*ATTACHED, "--gtest_filter=-*LoaderTest*:*SentTest*"), faults(
        "on AT%TCHDEBUG=DELTA error",
        "on AT%TCPERF=1 error",
        "on AT%TCHNOTIFY=SWTICH_AES,3 error",
        "on AT%TCHNOTIFY=SWTICH_AES,7 error",
        'on "AT%TCHNOTIFY=SWTICH_AES,-" error',
        'on "AT%TCHNOTIFY=LPWG_NOTIFY,-5,2" error')),
    # One that goes when it receives a certain command, which shows what it is sent. Levels have to wait for some others.
    "listening": Phone((*ATTACHED, "--gtest_filter=*SentTest*"), faults('on "AT%DB=1" late 500ms')),
    "none": Phone(("--with=nodes,accessory", "--without=cover,panel"), ("--no-cover",)),
    "newer image": Phone((*UPGRADE, "--with=image,newer"), before=images(
        "BV330-V05k_20200101.dfu", "BV330-V20k_20220101.dfu", "BV330-V06k_20200202.dfu"), logged=HAS_PANEL),
    "older image": Phone(UPGRADE, before=images("BV330-V05k_20200101.dfu"), logged=HAS_PANEL),
    "same image": Phone(UPGRADE, before=images("BV330-V10k_20210312.dfu"), logged=HAS_PANEL),
    "other image": Phone(UPGRADE, before=images("BV220-V05k_20200101.dfu"), logged=HAS_PANEL),
    "other file": Phone(UPGRADE, before=images("BV330-V20k_20220101.dfu.bak"), logged=HAS_PANEL),
    # A cover that leaves for an upgrade is missed by the tests of its panel, however late they come.
    "slow upgrade": Phone(("--with=cover,panel,nodes,folder", "--gtest_filter=*FirmwareFileTest*"),
                          before=(*images("BV330-V05k_20200101.dfu"), ("cover", "--upgrade-ms", "5000"))),
    # Sent to one of its loaders; the way to the other is closed.
    "loader": Phone(("--with=cover", "--allow-loader", "--gtest_filter=*GoDload*"),
                    faults("on AT%GOSTMDLOAD error")),
    "wide panel": Phone(("--with=cover,panel", "--panel=96x40x7", "--gtest_filter=*TellsItsSize*"),
                        ("--no-cover",),
                        (("subdisplay", "--width", "96", "--height", "40", "--format", "7"), ("attach",))),
    # Without the promise of a panel that can be switched the suite waits for none.
    "refusing panel": Phone(("--with=cover", "--gtest_filter=*PanelTest*"), faults("hid config error EIO"),
                            logged="failed to set config"),
    "no accessory": Phone(("--with=cover", "--gtest_filter=*PresenceTest*"),
                          before=(("accessory", "absent"),)),
    "failing lpwg": Phone(("--with=cover,nodes", "--gtest_filter=*PenTest*"),
                          before=(("lpwg", "result", "5"),)),
}


def check_programs(build):
    for name in ("bivista-emulator", "bivista-vts"):
        if not (build / "bin" / name).is_file():
            raise Useless(f"{build}/bin/{name} is missing: build the preset first")


def commands_of(build):
    """The command lines that make the service, as lists of words; the last one links it."""
    output = subprocess.run(["ninja", "-C", build, "-t", "commands", f"bin/{SERVICE}"],
                            capture_output=True, text=True, check=False)
    if output.returncode != 0:
        raise Useless(f"{build} is no build folder: {output.stderr.strip() or output.stdout.strip()}")
    return [split_command(line) for line in output.stdout.splitlines()
            if not line.startswith("ninja:")]


def split_command(line):
    """The words of a command line, without the ": &&" and "&& :" that CMake puts around a link."""
    words = shlex.split(line)
    if words[:2] == [":", "&&"]:
        words = words[2:]
    if words[-2:] == ["&&", ":"]:
        words = words[:-2]
    return words


def value_of(words, flag):
    return words[words.index(flag) + 1]


def compile_command(build, commands, path):
    """The command that compiles a source file."""
    for words in commands:
        if "-c" in words and os.path.normpath(build / value_of(words, "-c")) == str(path):
            return words
    raise Useless(f"the service is not made of {path}")


def with_value(words, flag, value):
    words = list(words)
    if flag in words:
        words[words.index(flag) + 1] = str(value)
    return words


def run_quietly(words, build):
    output = subprocess.run(words, cwd=build, capture_output=True, text=True, check=False)
    if output.returncode != 0:
        raise Useless(f"{shlex.join(words)}\n{output.stdout}{output.stderr}")


def source_path(build, source):
    """Where the file is."""
    if source.startswith("generated/"):
        return build / source
    return ROOT / source


def build_service(build, commands, defect, work):
    """Builds the service with a defect (None: without) in the folder `work`; gives its path."""
    # A link names an object as the compiler does, but with a "./" inside.
    link = [os.path.normpath(word) if word.endswith(".o") else word for word in commands[-1]]
    service = work / SERVICE
    if defect is not None:
        original = source_path(build, defect.source)
        copy = work / original.name
        copy.write_text(defects.apply(defect, original.read_text()))
        words = compile_command(build, commands, original)
        made = os.path.normpath(value_of(words, "-o"))
        made_of_copy = work / (original.name + ".o")
        words = with_value(words, "-c", copy)
        words = with_value(words, "-o", made_of_copy)
        words = with_value(words, "-MT", made_of_copy)
        words = with_value(words, "-MF", work / "depend")
        # What a defect leaves unused is no error of its own.
        run_quietly([*words, "-w"], build)
        if made not in link:
            raise Useless(f"the service is not linked with {made}")
        link = [str(made_of_copy) if word == made else word for word in link]
    run_quietly(with_value(link, "-o", service), build)
    return service


def await_service(registry, emulator, log, logged):
    """Waits until the service is registered and its log holds the text `logged`."""
    end = time.monotonic() + START_TIMEOUT
    name = registry / "vendor.qmx.hardware.bivista@1.1::IBivista" / "default"
    while not name.is_socket() or logged not in log.read_text(errors="replace"):
        if emulator.poll() is not None or time.monotonic() > end:
            raise Useless("the service does not start")
        time.sleep(0.02)


def stop(emulator):
    emulator.send_signal(signal.SIGTERM)
    try:
        emulator.wait(10)
    except subprocess.TimeoutExpired:
        emulator.kill()
        emulator.wait()


def filter_of(tests):
    """Options that keep the suite to these suites of tests, separated by colons; empty: to the phone's."""
    return ["--gtest_filter=" + ":".join(f"*/{name}.*" for name in tests.split(":"))] if tests else []


def run_suite(build, service, phone, tests, work):
    """Runs the suite against a service on an emulated phone. Gives its exit status and output."""
    surrounding = PHONES[phone]
    registry = work / "registry"
    registry.mkdir()
    environment = {**os.environ, "HIDL_SOCKET_DIR": str(registry)}
    with open(work / "log", "wb") as log:
        emulator = subprocess.Popen(
            [build / "bin/bivista-emulator", "run", *surrounding.emulator, "--", service],
            env=environment, stdout=log, stderr=log)
    try:
        await_service(registry, emulator, work / "log", surrounding.logged)
        for words in surrounding.before:
            subprocess.run([build / "bin/bivista-emulator", "ctl", *words], env=environment, check=True,
                           stdout=subprocess.DEVNULL)
        suite = subprocess.run(
            [ROOT / "vts/emulated.sh", build, *surrounding.suite, *filter_of(tests), "--patience=20",
             "--gtest_fail_fast"],
            env=environment, capture_output=True, text=True, errors="replace", timeout=SUITE_TIMEOUT, check=False)
        return suite.returncode, suite.stdout
    finally:
        stop(emulator)


def first_failure(output):
    """The first test that failed, without its instance; None when there was none."""
    for line in output.splitlines():
        if line.startswith("[  FAILED  ] ") and "." in line:
            return line.split()[3].split(",")[0].removeprefix("PerInstance/").split("/")[0]
    return None


def hung_after(output):
    """What a suite that hung said last of its tests: that one began, or ended."""
    marks = [line for line in output.decode(errors="replace").splitlines() if line.startswith("[")]
    return f"the suite hung after '{marks[-1]}'" if marks else "the suite hung before its first test"


def meet(build, commands, defect, phone, tests):
    """How the suite meets a defect: whether it failed, and the first test that did."""
    with tempfile.TemporaryDirectory(prefix="bivista-mutate-") as folder:
        work = pathlib.Path(folder)
        service = build_service(build, commands, defect, work)
        try:
            status, output = run_suite(build, service, phone, tests, work)
        except subprocess.TimeoutExpired as hang:
            return False, hung_after(hang.output or b"")
        found = status == 1 and first_failure(output) is not None
        return found, first_failure(output) or f"exit status {status}"


def print_row(number, phone, name, met):
    print(f"{number:>3}  {phone:<14} {name:<62} {met}", flush=True)


def meet_all(build, commands, meetings):
    """How the suite meets each defect on its phone with its tests, in their order."""
    pool = concurrent.futures.ThreadPoolExecutor(AT_ONCE)
    try:
        yield from pool.map(lambda meeting: meet(build, commands, *meeting), meetings)
    finally:
        pool.shutdown(cancel_futures=True)


def check_unchanged(build, commands, seeded):
    """The unchanged service passes on every phone, and with the tests that a defect is met with alone."""
    meetings = sorted({(phone, "") for phone in PHONES}
                      | {(defect.phone, defect.tests) for defect in seeded})
    results = meet_all(build, commands, [(None, *meeting) for meeting in meetings])
    for (phone, tests), (failed, met) in zip(meetings, results):
        if failed or met != "exit status 0":
            raise Useless(f"the unchanged service fails on the phone '{phone}', {tests or 'all tests'}: {met}")
        if not tests:
            print_row("-", phone, "none", "passes")


def chosen(names, among=defects.ALL):
    """Those of these names, in their order; without names all."""
    unknown = set(names) - {defect.name for defect in among}
    if unknown:
        raise Useless(f"no such defect: {', '.join(sorted(unknown))}")
    return [defect for defect in among if not names or defect.name in names]


def judge(defect, found, met):
    """Whether a defect was met as its table says, and what to print of it."""
    if defect.reason:
        passed = met == "exit status 0"
        return passed, "hidden, see below" if passed else f"NOT HIDDEN: {met}"
    return found, met if found else f"MISSED: {met}"


def seed(build, seeded):
    """Prints how the suite meets each defect. Gives those that are met otherwise than their table says."""
    check_programs(build)
    commands = commands_of(build)
    print_row("#", "phone", "defect", "found by")
    check_unchanged(build, commands, seeded)
    wrong = []
    results = meet_all(build, commands, [(defect, defect.phone, defect.tests) for defect in seeded])
    for number, (defect, met) in enumerate(zip(seeded, results), 1):
        right, text = judge(defect, *met)
        print_row(number, defect.phone, defect.name, text)
        if not right:
            wrong.append(defect)
    return wrong


def print_hidden(seeded):
    hidden = [defect for defect in seeded if defect.reason]
    if hidden:
        print("\nNo suite that has the interface alone can find:")
    for defect in hidden:
        print(f"  {defect.name}: {defect.reason}")


def main(arguments):
    list_only = "--list" in arguments
    arguments = [word for word in arguments if word != "--list"]
    build = (pathlib.Path(arguments[0]) if arguments else ROOT / "build/release").resolve()
    try:
        seeded = chosen(arguments[1:])
        if list_only:
            print(*(defect.name for defect in seeded if not defect.reason), sep="\n")
            print_hidden(seeded)
            return 0
        wrong = seed(build, seeded)
    except Useless as error:
        print(f"error: {error}", file=sys.stderr)
        return 2
    print_hidden(seeded)
    shown = [defect for defect in seeded if not defect.reason]
    missed = [defect for defect in wrong if not defect.reason]
    print(f"\n{len(shown) - len(missed)} of {len(shown)} defects found")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
