# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""An emulated phone in a registry folder of its own, and the page that is served of it."""
import contextlib
import http.client
import json
import os
import pathlib
import re
import shutil
import socket
import subprocess
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
BIN = ROOT / "build/release/bin"
EMULATOR = BIN / "bivista-emulator"
ADDRESS = re.compile(r"http://127\.0\.0\.1:(\d+)/[0-9a-f]{32}/")
# Members that an entry of the journal leaves out.
EMPTY = {"path": "", "bytes": "", "note": ""}
# No wait in vain is longer, in seconds.
PATIENCE = 60


def until(condition, what=""):
    """Waits until a condition holds, and returns what it gave. The last value tells why a wait was in vain."""
    end = time.monotonic() + PATIENCE
    while not (value := condition()):
        if time.monotonic() > end:
            raise AssertionError(f"waited in vain: {what or condition} ({value!r})")
        time.sleep(0.02)
    return value


def equals(read, wanted):
    """Waits until a value is the wanted one, which may change meanwhile where it is read, too."""
    end = time.monotonic() + PATIENCE
    while (value := read()) != (goal := wanted() if callable(wanted) else wanted):
        if time.monotonic() > end:
            raise AssertionError(f"waited in vain for {goal!r}: {value!r}")
        time.sleep(0.02)


class Answer:
    """What a server said."""

    def __init__(self, response):
        self.status, self.headers, self.body = response.status, dict(response.headers), response.read()

    def json(self):
        return json.loads(self.body)


class UnixConnection(http.client.HTTPConnection):
    def __init__(self, path):
        super().__init__("phone")
        self._path = str(path)

    def connect(self):
        self.sock = socket.socket(socket.AF_UNIX)
        self.sock.connect(self._path)


def ask(connection, method, path, values=None, headers=None):
    """One request on a connection of its own."""
    with contextlib.closing(connection):
        body = None if values is None else json.dumps(values)
        connection.request(method, path, body, {"Content-Type": "application/json", **(headers or {})})
        return Answer(connection.getresponse())


class Phone:
    """`bivista-emulator run` with the service. Ends all that it has started."""

    def __init__(self):
        self.registry = pathlib.Path(tempfile.mkdtemp(prefix="bivista-browser-"))
        self.environment = {**os.environ, "HIDL_SOCKET_DIR": str(self.registry), "HOST_LOG_LEVEL": "verbose",
                            "ANDROID_PROPERTY_FILE": str(self.registry / "host.prop"),
                            "PATH": f"{BIN}:{os.environ['PATH']}"}
        self.log = self.registry / "service.log"
        self._emulator = self._ui = None
        self.address = None

    def start(self, *options):
        """Starts the phone, and waits until the service has dealt with the cover."""
        with self.log.open("ab") as log:
            begun = log.tell()
            self._emulator = self._spawn(["run", *options], stdout=log, stderr=log)
        for line in [b"Bivista HAL Ready"] + ([] if "--no-cover" in options else [
                b"bv_update_state : ATCMD_Status", b"setSubDisplayPowerState --"]):
            until(lambda text=line: text in self.log.read_bytes()[begun:] or self._emulator.poll(), line.decode())
        assert self._emulator.poll() is None, self.log.read_text(errors="replace")[-2000:]
        return self

    def serve(self, *options):
        """Starts the page's server; its address is then in `address`."""
        self._ui = self._spawn(["ui", *options], stdout=subprocess.PIPE, text=True)
        printed = ""
        while not ADDRESS.search(printed):
            line = self._ui.stdout.readline()
            assert line, f"`ui` has ended: {printed}"
            printed += line
        self.address = ADDRESS.search(printed)[0]
        return self

    def _spawn(self, words, **more):
        return subprocess.Popen([EMULATOR, *words], env=self.environment, stdin=subprocess.DEVNULL, **more)

    @staticmethod
    def _end(process):
        if process:
            process.terminate()
            process.communicate()

    def end_emulator(self):
        self._end(self._emulator)
        self._emulator = None

    def end_page(self):
        self._end(self._ui)
        self._ui = None

    def end(self):
        self.end_page()
        self.end_emulator()
        shutil.rmtree(self.registry)

    @property
    def port(self):
        return int(ADDRESS.match(self.address)[1])

    def shell(self, command):
        """Types a command; returns what it prints, and fails where the command does."""
        return subprocess.run(["bash", "-c", command], env=self.environment, cwd=ROOT, check=True, text=True,
                              stdout=subprocess.PIPE).stdout

    def run(self, program, *words):
        subprocess.run([BIN / program, *words], env=self.environment, cwd=ROOT, check=True,
                       stdout=subprocess.DEVNULL)

    def ctl(self, *words):
        self.run("bivista-emulator", "ctl", *words)

    def client(self, *words):
        self.run("bivistactl", *words)

    def request(self, method, path, values=None):
        """Asks the emulator itself, past the page."""
        answer = self._ask(method, path, values)
        assert answer.status == 200, answer.body
        return answer.json()

    def refusal(self, method, path, values=None):
        return self._ask(method, path, values).json()["error"]

    def _ask(self, method, path, values):
        return ask(UnixConnection(self.registry / "emulator.sock"), method, path, values)

    def state(self):
        return self.request("GET", "/v1/state")

    def levels(self):
        """What the panel shows: rows of grey levels from 0 to 15."""
        picture = self.request("GET", "/v1/snapshot")
        width, levels = picture["width"], [int(level, 16) for level in picture["levels"]]
        return [levels[begin:begin + width] for begin in range(0, len(levels), width)]

    def abilities(self):
        return self.request("GET", "/v1/abilities")["abilities"]

    def journal(self, **fields):
        """All entries so far that have these values in their fields."""
        entries, since = [], 0
        while (page := self.request("GET", f"/v1/journal?since={since}&limit=10000"))["entries"]:
            entries += page["entries"]
            since = page["next"]
        return [{**EMPTY, **entry} for entry in entries
                if all(entry.get(name) == value for name, value in fields.items())]

    def reset(self):
        """As at the start, with a cover that the service has dealt with."""
        self.ctl("reset")
        self.attach()

    def attach(self):
        begun = self.log.stat().st_size
        self.ctl("attach")
        self.dealt(begun)

    def dealt(self, begun=0):
        for line in (b"bv_update_state : ATCMD_Status", b"setSubDisplayPowerState --"):
            until(lambda text=line: text in self.log.read_bytes()[begun:], line.decode())
