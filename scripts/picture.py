#!/usr/bin/env -S python3 -B
"""Makes the picture of the README, docs/running.svg, of a real run.

usage: scripts/picture.py [--check] [BUILD_FOLDER]

Starts the service on an emulated phone in a registry folder of its own, runs a short session there, and
draws what the commands printed, what the cover then showed and what its journal has of them. Nothing in it
depends on time or place, so that every run gives the same bytes. With --check it writes nothing, and tells
whether the picture is what a run gives now. The programs are those of the build folder (default:
build/release). Exit status 0 done, 1 the picture is another, 2 there could be no run.
"""
import dataclasses
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time
import typing

import files
import picture_svg

ROOT = pathlib.Path(__file__).resolve().parent.parent
PICTURE = ROOT / "docs/running.svg"
SERVICE = "vendor.qmx.hardware.bivista@1.1-service"
PROGRAMS = (SERVICE, "bivista-emulator", "bivistactl")
USAGE = __doc__.split("\n\n")[1]
# Seconds for anything that is waited for.
PATIENCE = 30
# Votes against USB suspend stand around every command, and would hide the rest.
VOTES = "/power/control"
SHOWN = ("attach", "detach", "tty-rx", "tty-tx", "node-write")


class NoRun(Exception):
    """The session could not be run to its end."""


@dataclasses.dataclass
class Step:
    """A command as it is typed, and what is waited for behind it. The picture tells what the journal has of
    it, or what the cover then shows, where it says so."""
    command: str
    until: typing.Callable = lambda run: True
    in_journal: bool = False
    seen: bool = False


def answered(command):
    """The cover has received a command and answered it."""
    def condition(run):
        received = False
        for entry in run.since_command:
            if received and entry["kind"] == "tty-tx":
                return True
            received |= entry["kind"] == "tty-rx" and entry["bytes"] == command + r"\r"
        return False
    return condition


def written(name):
    """The service has written to a control file."""
    return lambda run: any(entry["kind"] == "node-write" and entry["path"].endswith("/" + name)
                           for entry in run.since_command)


def picture_drawn(run):
    return run.state()["sub_display"]["frames"] > 0


def brought_up(run):
    """The service has told the cover all that it tells a new one, and holds it and its panel for on."""
    return (answered("AT%TCHUPDATE=UPDATE_STATE,0,0,0")(run) and run.state()["sub_display"]["on"]
            and run.shell("bivistactl sub state | grep -x ON") and run.is_connected())


def pulled_off(run):
    return written("virtual_mcu_firmware_write")(run) and not run.is_connected()


SESSION = (
    Step("bivistactl status"),
    Step("bivistactl cutout"),
    Step("bivistactl power on", in_journal=True),
    Step("bivistactl brightness 128", until=answered("AT%DB=128"), in_journal=True),
    Step("bivistactl colour rgb 1 20 30 40", until=answered("AT%PRGB=1,20,30,40")),
    Step('bivistactl sub text "12:45"', until=picture_drawn, seen=True),
    Step("bivista-emulator ctl show | grep ^screen"),
    Step("bivistactl at AT%SWV", in_journal=True),
    Step("bivistactl touch fwver"),
    Step("bivistactl call getBV2Connect"),
    Step("bivista-emulator ctl detach", until=pulled_off, in_journal=True),
    Step('bivistactl power on || echo "exit status $?"'),
    Step("bivista-emulator ctl attach", until=brought_up),
    Step("bivistactl at AT%SWV"),
)


def rows(entries):
    """What the picture shows of entries of the journal: kind and text."""
    for entry in entries:
        if entry["kind"] not in SHOWN or entry.get("path", "").endswith(VOTES):
            continue
        if entry["kind"] == "node-write":
            yield entry["kind"], f"{entry['path'].rsplit('/', 1)[1]}: {entry['bytes']}"
        else:
            yield entry["kind"], entry.get("bytes", entry.get("note", entry["path"]))


class Run:
    """The service on an emulated phone, and what a session there has printed and shown."""

    def __init__(self, programs, folder):
        self.folder = folder
        self.environment = {**os.environ, "HIDL_SOCKET_DIR": str(folder / "registry"), "LC_ALL": "C",
                            "PATH": f"{programs}:{os.environ['PATH']}"}
        self.log = folder / "log"
        self.before_command = 0
        self.since_command = []
        (folder / "registry").mkdir()
        with open(self.log, "wb") as log:
            self.emulator = subprocess.Popen(["bivista-emulator", "run", "--", programs / SERVICE],
                                             env=self.environment, stdout=log, stderr=log)

    def stop(self):
        self.emulator.send_signal(signal.SIGTERM)
        try:
            self.emulator.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.emulator.kill()
            self.emulator.wait()

    def shell(self, command):
        """What a command prints; None when it fails."""
        done = subprocess.run(["bash", "-o", "pipefail", "-c", command], env=self.environment,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, timeout=PATIENCE, check=False)
        return done.stdout.decode(errors="replace") if done.returncode == 0 else None

    def state(self):
        told = self.shell("bivista-emulator ctl show --json")
        if told is None:
            raise NoRun("the emulated phone has ended")
        return json.loads(told)

    def is_connected(self):
        return '"value":true' in (self.shell("bivistactl call getBV2Connect") or "")

    def read_journal(self):
        """Keeps the entries behind the last command in `since_command`."""
        text = self.shell("bivista-emulator ctl journal") or ""
        entries = [json.loads(line) for line in text.splitlines()]
        self.since_command = [entry for entry in entries if entry["seq"] > self.before_command]

    def await_condition(self, what, condition):
        end = time.monotonic() + PATIENCE
        while True:
            self.read_journal()
            if condition(self):
                return
            if self.emulator.poll() is not None or time.monotonic() > end:
                last = self.log.read_text(errors="replace").splitlines()[-5:]
                raise NoRun("\n".join([f"waited in vain behind: {what}", *last]))
            time.sleep(0.02)

    def start(self):
        self.await_condition("the start", brought_up)

    def play(self, step):
        """Runs a step; gives what it printed, and its rows of the journal."""
        self.read_journal()
        if self.since_command:
            self.before_command = self.since_command[-1]["seq"]
        printed = self.shell(step.command)
        if printed is None:
            raise NoRun(f"failed: {step.command}")
        self.await_condition(step.command, step.until)
        return printed, list(rows(self.since_command))

    def look(self):
        """What a person sees of the cover: its screen, and the sub display's picture as a PNG."""
        path = self.folder / "panel.png"
        if self.shell(f"bivista-emulator ctl snapshot '{path}'") is None:
            raise NoRun("no snapshot of the sub display")
        return self.state()["screen"], path.read_bytes()


def play(run, session):
    """Runs a session, and tells it as a picture's content."""
    run.start()
    story = picture_svg.Story()
    for step in session:
        printed, journal = run.play(step)
        number = None
        if step.in_journal or step.seen:
            number = story.next_number()
        story.lines.append(picture_svg.Command(step.command, printed, number))
        if step.in_journal:
            story.journal.append(picture_svg.Passage(number, journal))
        if step.seen:
            story.screen, story.panel = run.look()
            story.seen_at = number
    return story


def make_picture(build):
    programs = build / "bin"
    for name in PROGRAMS:
        if not (programs / name).exists():
            raise NoRun(f"no {name} in {programs}; ./run.sh --tour builds it")
    with tempfile.TemporaryDirectory(prefix="bivista-picture-") as folder:
        run = Run(programs, pathlib.Path(folder))
        try:
            return picture_svg.draw(play(run, SESSION)).encode()
        finally:
            run.stop()


def write_picture(made):
    try:
        files.write(PICTURE, made)
    except OSError as error:
        print(f"error: {PICTURE}: {error.strerror}", file=sys.stderr)
        return 2
    return 0


def main(arguments):
    check = arguments[:1] == ["--check"]
    folders = arguments[check:]
    if len(folders) > 1 or any(folder.startswith("-") for folder in folders):
        print(USAGE, file=sys.stderr)
        return 2
    # Ends the phone too.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    try:
        made = make_picture(pathlib.Path(folders[0] if folders else ROOT / "build/release").resolve())
    except (NoRun, subprocess.TimeoutExpired) as error:
        print(f"error: {error}", file=sys.stderr)
        return 2
    if not check:
        return write_picture(made)
    if PICTURE.exists() and PICTURE.read_bytes() == made:
        return 0
    print(f"{PICTURE}: a run gives another picture; make it with scripts/picture.py, and look at it")
    return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
