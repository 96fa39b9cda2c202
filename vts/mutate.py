#!/usr/bin/env python3
"""Shows that the conformance suite finds defects.

usage: vts/mutate.py [BUILD_FOLDER] [DEFECT...] [--list]

Puts one defect after another into a copy of one source file of the service, builds the service with
it, and runs the suite, which must fail. The suite itself is the one of the build folder (default:
build/release), made from the unchanged interfaces; so are all other objects of the service. At first
the unchanged service is linked and met in the same way, and must pass. Prints a table; exit status 0
when all defects were found, 1 when not, 2 when the build folder is of no use. With --list it
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

ROOT = pathlib.Path(__file__).resolve().parent.parent
SERVICE = "vendor.qmx.hardware.bivista@1.1-service"
INTERFACE = "generated/vendor/qmx/hardware/bivista/1.1/BivistaAll.cpp"
# Ends a suite that hangs, which is not how a defect is to be found.
SUITE_TIMEOUT = 300
START_TIMEOUT = 60
# A suite waits most of the time, so that many at once take little longer than one.
AT_ONCE = 8

# Surroundings: options of the emulator, and of the suite.
ATTACHED = ["--with=cover,panel,nodes,accessory", "--allow-loader", "--gtest_filter=-*LoaderTest*"]
PHONES = {
    "cover": ([], ATTACHED),
    # One that takes a few commands less, so that commands differ in their outcome.
    "picky": (["--fault", "on AT%TCHDEBUG=DELTA error",
               "--fault", "on AT%TCHNOTIFY=SWTICH_AES,3 error"], ATTACHED),
    "none": (["--no-cover"], ["--with=nodes,accessory", "--without=cover,panel"]),
}


class Useless(Exception):
    """The build folder, or a defect, does not fit the sources."""


@dataclasses.dataclass(frozen=True)
class Defect:
    name: str
    source: str  # of the project, or of the build folder
    changes: tuple  # functions of the text, applied in order
    phone: str = "cover"


def swap(one, other):
    """A change of the text: the two parts take each other's place."""
    def apply(text):
        if text.count(one) != 1 or text.count(other) != 1:
            raise Useless(f"not exactly once: {one!r}, {other!r}")
        return text.replace(one, "\0").replace(other, one).replace("\0", other)
    return apply


def replace(old, new):
    """A change of the text at the one place where it holds `old`."""
    def apply(text):
        if text.count(old) != 1:
            raise Useless(f"not exactly once: {old!r}")
        return text.replace(old, new)
    return apply


DEFECTS = [
    Defect("two queries in each other's slot", INTERFACE,
           (swap("case 1 /* getFirmwareVersion */", "case 8 /* getTouchFirmwareVersion */"),)),
    Defect("two touch requests in each other's slot", INTERFACE,
           (swap("case 9 /* DoRawdata */", "case 10 /* DoDelta */"),), "picky"),
    Defect("the two pen modes in each other's slot", INTERFACE,
           (swap("case 35 /* setAesMode */", "case 36 /* manageAesMode */"),), "picky"),
    Defect("status of a power change inverted", "sub_display/SubDisplayPower.cpp",
           (replace("return switched ? Status::OK : Status::FAIL;",
                    "return switched ? Status::FAIL : Status::OK;"),)),
    Defect("presence inverted", "display/Attach.cpp",
           (replace("return mUsbAttached.load();", "return !mUsbAttached.load();"),), "none"),
    Defect("result callback called twice", "kernel/FirmwareVersion.cpp",
           (replace('cb(query.status(), query.failed() ? "" : query.text());',
                    "cb(query.status(), query.text());\n    cb(query.status(), query.text());"),)),
    Defect("result callback never called", "display/TouchDiagnostics.cpp",
           (replace('"AT%TCHDEBUG=GPIO_PIN\\r");\n    cb(query.status(), query.text());',
                    '"AT%TCHDEBUG=GPIO_PIN\\r");'),)),
    Defect("each line of an answer given twice", "kernel/AtCommandService.cpp",
           (replace("(void)atCallback()->onAtResponse(line).isOk();",
                    "for (int i = 0; i < 2; ++i) (void)atCallback()->onAtResponse(line).isOk();"),)),
    Defect("no line of an answer given", "kernel/AtCommandService.cpp",
           (replace("serialAtCmd(command.c_str(), answer, kAnswerCapacity, forwardLine)",
                    "serialAtCmd(command.c_str(), answer, kAnswerCapacity, nullptr)"),)),
    Defect("lines of an answer given in reverse", "kernel/AtCommandService.cpp",
           (replace("(void)atCallback()->onAtResponse(line).isOk();", "sLines.emplace_back(line);"),
            replace("// Passes a line on", "std::vector<std::string> sLines;\n\n// Passes a line on"),
            replace("kAnswerCapacity, forwardLine);",
                    "kAnswerCapacity, forwardLine);\n        for (; !sLines.empty();"
                    " sLines.pop_back()) (void)cb->onAtResponse(sLines.back()).isOk();"))),
    Defect("lines of an answer given after the result", "kernel/AtCommandService.cpp",
           (replace("(void)atCallback()->onAtResponse(line).isOk();", "sLines.emplace_back(line);"),
            replace("// Passes a line on", "std::vector<std::string> sLines;\n\n// Passes a line on"),
            replace("answer);\n    return Void();",
                    "answer);\n    for (const std::string& line : sLines) {\n"
                    "        (void)cb->onAtResponse(line).isOk();\n    }\n"
                    "    sLines.clear();\n    return Void();"))),
    Defect("text of a result dropped", "display/Cutout.cpp",
           (replace("cb(known ? Status::OK : Status::FAIL, text);",
                    'cb(known ? Status::OK : Status::FAIL, "");'),)),
    Defect("change of the sub display told twice", "sub_display/SubDisplay.cpp",
           (replace("(void)mSubDisplayCallback->onSubDisplayStateChanged(state).isOk();",
                    "for (int i = 0; i < 2; ++i) {\n"
                    "        (void)mSubDisplayCallback->onSubDisplayStateChanged(state).isOk();\n"
                    "    }"),)),
    Defect("frames that are too large drawn", "sub_display/DrawSubDisplay.cpp",
           (replace("if (screen != frame.size()) {", "if (screen > frame.size()) {"),)),
    Defect("brightness of the sub display not limited", "sub_display/SubDisplayPower.cpp",
           (replace("kMaxBrightness = 255", "kMaxBrightness = 256"),)),
    Defect("offset taken while the screen is off", "display/BrightnessOffset.cpp",
           (replace("return Status::FAIL;", "return Status::OK;"),)),
    Defect("gestures told to newer clients by the old method", "display/UeventMonitor.cpp",
           (replace("newer != nullptr\n", "false\n"),)),
    Defect("gestures told twice", "display/UeventMonitor.cpp",
           (replace("    if (!told.isOk()) LOG_ERROR",
                    "    (void)callback->onLpwgEvent(V1_0::LpwgEventStatus(status), result).isOk();\n"
                    "    if (!told.isOk()) LOG_ERROR"),), "none"),
    Defect("malformed commands answered as if there were no failure", "kernel/AtCommandService.cpp",
           (replace("result(stored < 0 ? Status::FAIL : Status::OK, answer);",
                    "result(stored < 0 && answer[0] != 0 ? Status::FAIL : Status::OK, answer);"),),
           "none"),
]


def apply(defect, text):
    for change in defect.changes:
        text = change(text)
    return text


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
    link = commands[-1]
    service = work / SERVICE
    if defect is not None:
        original = source_path(build, defect.source)
        copy = work / original.name
        copy.write_text(apply(defect, original.read_text()))
        words = compile_command(build, commands, original)
        made = value_of(words, "-o")
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


def await_service(registry, emulator):
    """Waits until the service is registered."""
    end = time.monotonic() + START_TIMEOUT
    name = registry / "vendor.qmx.hardware.bivista@1.1::IBivista" / "default"
    while not name.is_socket():
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


def run_suite(build, service, phone, work):
    """Runs the suite against a service on an emulated phone. Gives its exit status and output."""
    phone_options, suite_options = PHONES[phone]
    registry = work / "registry"
    registry.mkdir()
    environment = {**os.environ, "HIDL_SOCKET_DIR": str(registry)}
    with open(work / "log", "wb") as log:
        emulator = subprocess.Popen(
            [build / "bin/bivista-emulator", "run", *phone_options, "--", service],
            env=environment, stdout=log, stderr=log)
    try:
        await_service(registry, emulator)
        suite = subprocess.run(
            [ROOT / "vts/emulated.sh", build, *suite_options, "--patience=20", "--gtest_fail_fast"],
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


def meet(build, commands, defect, phone):
    """How the suite meets a defect: whether it failed, and the first test that did."""
    with tempfile.TemporaryDirectory(prefix="bivista-mutate-") as folder:
        work = pathlib.Path(folder)
        service = build_service(build, commands, defect, work)
        try:
            status, output = run_suite(build, service, phone, work)
        except subprocess.TimeoutExpired:
            return False, "the suite hung"
        found = status == 1 and first_failure(output) is not None
        return found, first_failure(output) or f"exit status {status}"


def print_row(number, phone, name, met):
    print(f"{number:>2}  {phone:<6} {name:<58} {met}", flush=True)


def meet_all(build, commands, pairs):
    """How the suite meets each pair of defect and phone, in their order."""
    pool = concurrent.futures.ThreadPoolExecutor(AT_ONCE)
    try:
        yield from pool.map(lambda pair: meet(build, commands, *pair), pairs)
    finally:
        pool.shutdown(cancel_futures=True)


def check_unchanged(build, commands):
    """The unchanged service passes on every phone; else what fails tells nothing."""
    for phone, (failed, met) in zip(PHONES, meet_all(build, commands, [(None, phone) for phone in PHONES])):
        if failed or met != "exit status 0":
            raise Useless(f"the unchanged service fails on the phone '{phone}': {met}")
        print_row("-", phone, "none", "passes")


def chosen(names):
    unknown = set(names) - {defect.name for defect in DEFECTS}
    if unknown:
        raise Useless(f"no such defect: {', '.join(sorted(unknown))}")
    return [defect for defect in DEFECTS if not names or defect.name in names]


def seed(build, defects):
    """Prints how the suite meets each defect. Gives the number of those that it misses."""
    check_programs(build)
    commands = commands_of(build)
    print_row("#", "phone", "defect", "found by")
    check_unchanged(build, commands)
    missed = 0
    results = meet_all(build, commands, [(defect, defect.phone) for defect in defects])
    for number, (defect, (found, met)) in enumerate(zip(defects, results), 1):
        print_row(number, defect.phone, defect.name, met if found else f"MISSED: {met}")
        missed += not found
    return missed


def main(arguments):
    list_only = "--list" in arguments
    arguments = [word for word in arguments if word != "--list"]
    build = (pathlib.Path(arguments[0]) if arguments else ROOT / "build/release").resolve()
    try:
        defects = chosen(arguments[1:])
        if list_only:
            print(*(defect.name for defect in defects), sep="\n")
            return 0
        missed = seed(build, defects)
    except Useless as error:
        print(f"error: {error}", file=sys.stderr)
        return 2
    print(f"{len(defects) - missed} of {len(defects)} defects found")
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
