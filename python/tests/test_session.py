# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Sessions that are badly used, as programs of their own: the service serves other clients as before."""
from __future__ import annotations

import json
import os
import signal
import subprocess
import threading
from collections.abc import Iterator
from typing import Any

import pytest
from bivista import Client
from bivista.testing import Phone

VERSION = "BV330-V10k_20210312"


class Session:
    """A session as a program that is written to and read from byte by byte."""

    def __init__(self, phone: Phone) -> None:
        self.process = subprocess.Popen(
            ["bivistactl", "session"],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            env=phone.environment(),
        )

    def close(self) -> None:
        self.process.kill()
        self.process.communicate()

    def say(self, text: bytes) -> None:
        assert self.process.stdin is not None
        self.process.stdin.write(text)
        self.process.stdin.flush()

    def request(self, method: str, *params: object) -> None:
        self.say(json.dumps({"jsonrpc": "2.0", "id": method, "method": method, "params": params}).encode() + b"\n")

    def heard(self) -> Any:
        assert self.process.stdout is not None
        return json.loads(self.process.stdout.readline())

    def awaited(self, method: str) -> Any:
        """The answer to that request; notifications before it are passed over."""
        while (message := self.heard()).get("id") != method:
            pass
        return message["result"]

    def end(self) -> tuple[bytes, bytes, int]:
        """Ends its input: what it says then, its standard error, its exit status."""
        out, errors = self.process.communicate()
        return out, errors, self.process.returncode


@pytest.fixture
def session(bivista_phone: Phone) -> Iterator[Session]:
    session = Session(bivista_phone)
    yield session
    session.close()


def await_command(phone: Phone, command: str) -> None:
    while command not in phone.commands():
        pass


BAD = {
    "nonsense": (b"nonsense", -32700),
    "binary": (bytes(range(10)) + b"\xff", -32700),
    "not UTF-8": (b'{"jsonrpc":"2.0","id":1,"method":"\xff"}', -32700),
    "half a request": (b'{"jsonrpc":"2.0","id":1,', -32700),
    "deep": (b"[" * 1_000_000, -32700),
    "deep objects": (b'{"a":' * 100_000, -32700),
    "too long": (b" " * (4 << 20) + b"1", -32700),
    "much too long": (b"x" * (20 << 20), -32700),
    "an empty batch": (b"[]", -32600),
    "a long batch": (b"[" + b"1," * 500_000 + b"1]", -32600),
    "a number": (b"5", -32600),
    "another version": (b'{"jsonrpc":"1.0","id":null,"method":"getBV2Connect"}', -32600),
    "a large id": (b'{"jsonrpc":"2.0","id":' + b"1" * 1000 + b',"method":"getBV2Connect"}', -32700),
    "no method": (b'{"jsonrpc":"2.0","id":null,"method":"Brew"}', -32601),
    "wrong parameters": (b'{"jsonrpc":"2.0","id":null,"method":"setBrightness","params":[[]]}', -32602),
}


def test_bad_lines_have_one_error_each_and_the_session_goes_on(session: Session, bivista_client: Client) -> None:
    for name, (line, code) in BAD.items():
        session.say(line + b"\n")
        answer = session.heard()
        assert (name, answer["id"], answer["error"]["code"]) == (name, None, code)
        assert "\n" not in answer["error"]["message"] and len(answer["error"]["message"]) < 200
        session.request("getBV2Connect")
        assert session.heard()["result"] == {"method": "getBV2Connect", "value": True}
    assert bivista_client.get_firmware_version() == VERSION
    assert session.end() == (b"", b"", 0)


def test_half_a_line_at_the_end(session: Session) -> None:
    session.say(b'{"jsonrpc":"2.0","id"')
    out, errors, status = session.end()
    assert json.loads(out)["error"]["code"] == -32700
    assert (errors, status) == (b"", 0)


# They are read only as they are served: the session's memory does not grow with them.
def test_many_requests_at_once(session: Session, bivista_client: Client) -> None:
    count, padding = 30_000, "x" * 2000
    line = json.dumps({"jsonrpc": "2.0", "id": 1, "method": "getBV2Connect", "params": [padding]}).encode() + b"\n"

    def write() -> None:
        for _ in range(count):
            session.say(line)
        session.request("getBV2Connect")

    writing = threading.Thread(target=write)
    writing.start()
    assert bivista_client.get_firmware_version() == VERSION
    for _ in range(count):
        assert session.heard()["error"]["code"] == -32602
    assert session.heard()["result"]["value"] is True
    writing.join()
    with open(f"/proc/{session.process.pid}/status", encoding="ascii") as status:
        peak = next(int(line.split()[1]) for line in status if line.startswith("VmHWM"))
    # A sanitizer keeps what was freed.
    assert "BIVISTA_SANITIZED" in os.environ or peak * 1024 < count * len(line) / 2


def test_a_client_that_subscribes_and_never_reads(
    bivista_phone: Phone, session: Session, bivista_client: Client
) -> None:
    for callback in ("at", "subDisplay", "lpwg"):
        session.request("subscribe", callback)
        session.awaited("subscribe")
    bivista_phone.wait_for_listener()
    for _ in range(20):
        session.request("sendAtCommand", "AT%SWV")
        bivista_phone.ctl("gesture", *["WAKEUP"] * 20)
        assert bivista_client.get_firmware_version() == VERSION
    bivista_client.set_sub_display_power_state(False)
    bivista_client.set_sub_display_power_state(True)
    # It has missed nothing.
    for _ in range(20):
        assert session.awaited("sendAtCommand")["status"] == "OK"
    session.request("unsubscribe", "lpwg")
    assert session.awaited("unsubscribe") == {"subscriptions": ["at", "subDisplay"]}


@pytest.mark.parametrize("number", [signal.SIGKILL, signal.SIGTERM, signal.SIGINT])
def test_a_client_that_goes_away_in_mid_call(
    bivista_phone: Phone, session: Session, bivista_client: Client, number: signal.Signals
) -> None:
    bivista_phone.ctl("fault", "on AT%SWV late 1s times 1")
    session.request("subscribe", "at")
    session.request("sendAtCommand", "AT%SWV")
    await_command(bivista_phone, "AT%SWV")
    session.process.send_signal(number)
    assert session.process.wait() == (-number if number == signal.SIGKILL else 0)
    assert bivista_client.get_firmware_version() == VERSION


def test_the_end_of_the_input_in_mid_call(bivista_phone: Phone, session: Session) -> None:
    bivista_phone.ctl("fault", "on AT%SWV late 1s times 1")
    session.request("getFirmwareVersion")
    await_command(bivista_phone, "AT%SWV")
    out, errors, status = session.end()
    assert json.loads(out)["result"] == {"method": "getFirmwareVersion", "status": "OK", "value": VERSION}
    assert (errors, status) == (b"", 0)


def test_a_reader_that_goes_away_in_mid_call(bivista_phone: Phone, session: Session, bivista_client: Client) -> None:
    bivista_phone.ctl("fault", "on AT%SWV late 1s times 1")
    session.request("getFirmwareVersion")
    await_command(bivista_phone, "AT%SWV")
    assert session.process.stdout is not None and session.process.stderr is not None
    session.process.stdout.close()
    assert session.process.wait() == 4
    assert session.process.stderr.read() == b"bivistactl: cannot write to standard output: Broken pipe\n"
    assert bivista_client.get_firmware_version() == VERSION


# Two sessions and a command line, at once.
def test_sessions_do_not_disturb_one_another(bivista_phone: Phone, session: Session, bivista_client: Client) -> None:
    for _ in range(20):
        session.request("getFirmwareVersion")
        assert bivista_client.get_firmware_version() == VERSION
    call = ["bivistactl", "call", "getFirmwareVersion"]
    called = subprocess.run(call, env=bivista_phone.environment(), capture_output=True, check=True)
    assert json.loads(called.stdout)["value"] == VERSION
    assert [session.awaited("getFirmwareVersion")["value"] for _ in range(20)] == [VERSION] * 20
