# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""An emulated phone with the service, for tests of clients. bivista.pytest_plugin makes fixtures of it."""
from __future__ import annotations

import contextlib
import json
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time
from collections.abc import Sequence
from typing import Any

from .client import Client
from .errors import BivistaError

# Starts the service anew for each line of its input; $0 is the file for its number, $1 the service.
_STARTER = """while read -r _; do sh -c 'echo $$ >"$0.new" && mv "$0.new" "$0" && exec "$1"' "$0" "$1" </dev/null; done"""
_SERVICE = "vendor.qmx.hardware.bivista@1.1-service"
# Of seconds: how long the programs may take. Only a test that hangs meets it.
PATIENCE = 120.0


class PhoneError(BivistaError):
    """The emulated phone refused a command, or did not come up."""


class Phone:
    """An emulated phone with a cover, and the service on it, in a registry folder of its own.

    For a `with` statement; start() and close() do the same. Its programs are those on the PATH.

    options  of "bivista-emulator run", such as "--no-cover"
    """

    def __init__(self, *options: str) -> None:
        self._options = options
        self._folder = pathlib.Path(tempfile.mkdtemp(prefix="bivista-"))
        self.registry = self._folder / "registry"
        self._emulator: subprocess.Popen[bytes] | None = None
        self._markers = 0

    def __enter__(self) -> Phone:
        self.start()
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def start(self) -> None:
        """Returns when the service serves and, unless an option says otherwise, the cover is attached."""
        self.registry.mkdir(mode=0o700)
        emulator = _program("bivista-emulator")
        command = [
            *(emulator, "run", "--journal", str(self._folder / "journal.jsonl"), *self._options),
            *("--", "sh", "-c", _STARTER, str(self._folder / "service.pid"), _service_beside(emulator)),
        ]
        with open(self._folder / "log", "wb") as log:
            self._emulator = subprocess.Popen(
                command, stdin=subprocess.PIPE, stdout=log, stderr=log, env=self.environment(), start_new_session=True
            )
        try:
            self.start_service()
            if "--no-cover" not in self._options:
                self.wait_for("attached")
        except BaseException:
            self.close()
            raise

    def close(self) -> None:
        """Ends the phone and all that runs on it, and removes its files."""
        if self._emulator is not None:
            assert self._emulator.stdin is not None
            self._emulator.terminate()
            self._emulator.wait()
            # Of a phone that did not come up, what was written to it is left.
            with contextlib.suppress(BrokenPipeError):
                self._emulator.stdin.close()
            self._emulator = None
        shutil.rmtree(self._folder, ignore_errors=True)

    def environment(self) -> dict[str, str]:
        """For programs that are to meet this phone's service."""
        return {**os.environ, "HIDL_SOCKET_DIR": str(self.registry)}

    def client(self, timeout: float | None = PATIENCE) -> Client:
        """A new client of this phone's service."""
        return Client(registry=self.registry, timeout=timeout)

    def ctl(self, *words: str) -> str:
        """Runs a command of "bivista-emulator ctl". Returns what it prints."""
        return self._run(_program("bivista-emulator"), "ctl", *words)

    def wait_for(self, *conditions: str) -> None:
        """Waits until all of them hold, such as "detached" or "screen=on": see "bivistactl wait --help"."""
        self._run(_program("bivistactl"), "wait", *conditions, "--timeout", str(PATIENCE))

    def journal(self) -> list[dict[str, Any]]:
        """All that passed between the service, its cover and its clients so far: see docs/emulator.md."""
        return [json.loads(line) for line in self.ctl("journal").splitlines()]

    def commands(self) -> list[str]:
        """The AT commands that the cover has received so far, in their order."""
        entries = (entry for entry in self.journal() if entry.get("kind") == "tty-rx")
        return [str(entry["bytes"]).removesuffix("\\r") for entry in entries]

    def log(self) -> str:
        """What the service has written to its log."""
        return (self._folder / "log").read_text(encoding="utf-8", errors="surrogateescape")

    def wait_for_listener(self) -> None:
        """Waits until the service listens to the kernel, after a client's first subscription to touch and pen events.

        Until then it hears no gesture and no pen.
        """
        end = time.monotonic() + PATIENCE
        while f"cp1 = MARKER={self._markers}." not in self.log():
            if time.monotonic() > end:
                raise PhoneError("the service does not listen: nobody has subscribed to touch and pen events")
            # The service logs an event that it does not know, and does nothing about it.
            self._markers += 1
            self.ctl("uevent", f"SUBSYSTEM=QMX_BV2 marker\\x00MARKER={self._markers}.\\x00")
            time.sleep(0.02)

    def start_service(self) -> None:
        """Starts the service again after kill_service(). Returns when it serves."""
        assert self._emulator is not None and self._emulator.stdin is not None
        try:
            self._emulator.stdin.write(b"start\n")
            self._emulator.stdin.flush()
        except BrokenPipeError:
            pass
        self._await_service()

    def kill_service(self) -> None:
        """Kills the service as a crash would. Returns when nothing of it is left."""
        file = self._folder / "service.pid"
        process = int(file.read_text(encoding="ascii"))
        file.unlink()
        os.kill(process, signal.SIGKILL)
        while pathlib.Path(f"/proc/{process}").exists():
            time.sleep(0.01)

    def _await_service(self) -> None:
        assert self._emulator is not None
        end = time.monotonic() + PATIENCE
        with self.client() as client:
            while not client.session().interfaces:
                if self._emulator.poll() is not None:
                    raise PhoneError(f"the emulated phone did not come up:\n{self.log()}")
                if time.monotonic() > end:
                    raise PhoneError(f"the service did not come up:\n{self.log()}")
                time.sleep(0.05)

    def _run(self, *command: str) -> str:
        done = subprocess.run(
            command, env=self.environment(), capture_output=True, text=True, errors="surrogateescape", check=False
        )
        if done.returncode != 0:
            raise PhoneError(f"{_spelled(command)}: exit status {done.returncode}: {done.stderr.strip()}")
        return done.stdout


def _spelled(command: Sequence[str]) -> str:
    return " ".join([pathlib.Path(command[0]).name, *command[1:]])


def _program(name: str) -> str:
    found = shutil.which(name)
    if found is None:
        raise PhoneError(f"{name} is not on the PATH")
    return found


def _service_beside(emulator: str) -> str:
    """As the emulator looks for it: in its own folder as built, in ../libexec/bivista as installed."""
    folder = pathlib.Path(emulator).resolve().parent
    for place in (folder, folder.parent / "libexec/bivista"):
        if (place / _SERVICE).exists():
            return str(place / _SERVICE)
    raise PhoneError(f"there is no service beside {emulator}")
