# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""The blocking client, with the service on an emulated phone."""
from __future__ import annotations

import os
import signal
import threading
from collections.abc import Callable
from pathlib import Path
from typing import Any

import bivista
import pytest
from bivista import Client, SubScreenState, Subscription
from bivista.testing import PATIENCE, Phone

VERSION = "BV330-V10k_20210312"


def test_methods_return_the_values_of_the_service(bivista_phone: Phone, bivista_client: Client) -> None:
    assert bivista_client.get_bv2_connect() is True
    assert bivista_client.get_firmware_version() == VERSION
    assert bivista_client.get_sub_display_info() == bivista.SubScreenInfo(128, 128, 4)
    assert bivista_client.get_sub_display_power_state() in list(SubScreenState)
    bivista_client.set_screen_mode(bivista.ScreenMode.MODE_2)
    bivista_client.set_power_status(True, False)
    assert "AT%BV=1" in bivista_phone.commands()
    assert bivista_client.dump()["display"]["screenOn"] is True
    assert bivista_client.dump("--help").startswith("Prints what the service knows")


def test_a_frame_reaches_the_panel(bivista_phone: Phone, bivista_client: Client) -> None:
    bivista_phone.wait_for("sub=ON")
    bivista_client.draw_sub_display([0xF0] * (128 * 128))
    with pytest.raises(bivista.Refused):
        bivista_client.draw_sub_display([0xF0])
    with pytest.raises(bivista.CallRefused):
        bivista_client.draw_sub_display(range(262144))


@pytest.mark.bivista_phone("--no-cover")
def test_fail_is_refused(bivista_client: Client) -> None:
    with pytest.raises(bivista.Refused) as refused:
        bivista_client.get_firmware_version()
    assert refused.value.method == "getFirmwareVersion"
    assert refused.value.value == ""
    with pytest.raises(bivista.Refused) as plain:
        bivista_client.set_bv_brightness_offset(-20)
        bivista_client.set_power_status(True, False)
    assert plain.value.value is None


@pytest.mark.bivista_phone("--no-cover")
def test_wrong_arguments_reach_nobody(bivista_client: Client) -> None:
    with pytest.raises(bivista.InvalidArguments, match="^setBrightness, value: 4294967296 is not an integer"):
        bivista_client.set_brightness(1 << 32)
    with pytest.raises(ValueError):
        bivista_client.set_brightness("bright")  # type: ignore[arg-type]
    with pytest.raises(bivista.InvalidArguments):
        bivista_client.send_at_command("AT\udcff")
    with pytest.raises(bivista.BivistaError, match="there is no method"):
        bivista_client.call("setbrightness", 1)


def test_an_answer_that_comes_too_late_is_dropped(bivista_phone: Phone, bivista_client: Client) -> None:
    bivista_phone.ctl("fault", "on AT%SWV late 1s times 1")
    with pytest.raises(bivista.TimedOut, match="^getFirmwareVersion: no answer within 0.01 s"):
        bivista_client.get_firmware_version(timeout=0.01)
    assert bivista_client.get_firmware_version() == VERSION
    assert issubclass(bivista.TimedOut, TimeoutError)


def test_threads_share_a_client(bivista_client: Client) -> None:
    versions: list[str] = []
    threads = [threading.Thread(target=lambda: versions.append(bivista_client.get_firmware_version())) for _ in range(8)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert versions == [VERSION] * 8


def test_lines_of_an_answer(bivista_client: Client) -> None:
    with bivista_client.at_lines() as lines:
        assert bivista_client.send_at_command("AT%SWV") == VERSION
        assert lines.get(PATIENCE) == VERSION + "\n"
        with pytest.raises(bivista.TimedOut):
            lines.get(0)
    assert list(lines) == []


def test_touch_and_pen_events(bivista_phone: Phone, bivista_client: Client) -> None:
    with bivista_client.lpwg_events() as events:
        bivista_phone.wait_for_listener()
        bivista_phone.ctl("gesture", "WAKEUP")
        bivista_phone.ctl("pen", "BV_PEN_DETECTION")
        assert next(events) == bivista.LpwgEvent("1.1", 0, "WAKEUP", 0)
        assert events.get(PATIENCE).name == "BV_PEN_DETECTION"
    with bivista_client.lpwg_events("1.0") as events:
        bivista_phone.ctl("gesture", "WAKEUP")
        assert next(events).version == "1.0"


def test_states_of_the_sub_display(bivista_phone: Phone, bivista_client: Client) -> None:
    bivista_phone.wait_for("sub=ON")
    with bivista_client.sub_display_states() as states:
        bivista_client.set_sub_display_power_state(False)
        assert next(states) is SubScreenState.OFF
        bivista_client.set_sub_display_power_state(True)
        assert next(states) is SubScreenState.ON


# The service registers one callback of each kind for all clients.
def test_another_client_takes_the_callback(bivista_phone: Phone, bivista_client: Client) -> None:
    with bivista_phone.client() as other:
        takes: tuple[Callable[[Client], Subscription[Any]], ...] = (Client.lpwg_events, Client.sub_display_states)
        for take in takes:
            with take(bivista_client) as mine, take(other) as others:
                with pytest.raises(bivista.CallbackLost):
                    mine.get(PATIENCE)
                with pytest.raises(bivista.TimedOut):
                    others.get(0)
                # Taken back.
                with take(bivista_client), pytest.raises(bivista.CallbackLost):
                    others.get(PATIENCE)


# To clear the callback for touch and pen events would stop the service for all clients.
def test_the_end_of_subscriptions_and_clients_clears_nothing(bivista_phone: Phone) -> None:
    with bivista_phone.client() as client:
        with client.lpwg_events(), client.sub_display_states():
            assert set(client.session().subscriptions) == {"lpwg", "subDisplay"}
        assert client.session().subscriptions == ()
        assert client.get_firmware_version() == VERSION
    with bivista_phone.client() as client:
        assert client.get_firmware_version() == VERSION
    calls = [(each["path"], each["bytes"]) for each in bivista_phone.journal() if each["kind"] == "client-call"]
    registered = [call for call in calls if call[0].endswith("Callback")]
    given = '[\\"callback\\"]'
    assert registered == [("IBivista.setLpwgCallback", given), ("IBivista.setSubDisplayCallback", given)]


def test_a_client_that_subscribes_to_nothing_registers_nothing(bivista_phone: Phone, bivista_client: Client) -> None:
    with bivista_phone.client() as other, other.sub_display_states() as states:
        bivista_client.get_firmware_version()
        bivista_client.send_at_command("AT%SWV")
        with pytest.raises(bivista.TimedOut):
            states.get(0)
        assert other.session().subscriptions == ("subDisplay",)


def test_the_service_dies_and_returns(bivista_phone: Phone, bivista_client: Client) -> None:
    with bivista_client.lpwg_events() as events, bivista_client.service_changes() as changes:
        for _ in range(2):
            bivista_phone.kill_service()
            assert changes.get(PATIENCE) is bivista.ServiceChange.DIED
            with pytest.raises(bivista.ServiceDied):
                next(events)
            with pytest.raises(bivista.ServiceAbsent):
                bivista_client.get_bv2_connect()
            with pytest.raises(bivista.ServiceAbsent):
                bivista_client.sub_display_states()
            with pytest.raises(bivista.TimedOut):
                bivista_client.wait_for_service(timeout=0.01)
            bivista_phone.start_service()
            bivista_client.wait_for_service()
            assert changes.get(PATIENCE) is bivista.ServiceChange.RETURNED
            # The next service knows of no callback.
            assert bivista_client.session().subscriptions == ()
            bivista_phone.wait_for("attached")
            assert bivista_client.get_firmware_version() == VERSION


def test_the_service_dies_in_a_call(bivista_phone: Phone, bivista_client: Client) -> None:
    bivista_phone.ctl("fault", "on AT%SWV silent")
    errors: list[BaseException] = []

    def call() -> None:
        try:
            bivista_client.get_firmware_version()
        except bivista.BivistaError as error:
            errors.append(error)

    calling = threading.Thread(target=call)
    calling.start()
    while "AT%SWV" not in bivista_phone.commands():
        pass
    bivista_phone.kill_service()
    calling.join()
    assert [type(error) for error in errors] == [bivista.ServiceDied]


def test_the_session_is_killed(bivista_client: Client) -> None:
    with bivista_client.at_lines() as lines:
        os.kill(bivista_client._process.pid, signal.SIGKILL)
        with pytest.raises(bivista.SessionEnded):
            next(lines)
        with pytest.raises(bivista.SessionEnded):
            bivista_client.get_bv2_connect()
        with pytest.raises(bivista.SessionEnded):
            bivista_client.at_lines()


def test_a_program_that_is_no_session(tmp_path: Path) -> None:
    program = tmp_path / "nonsense"
    program.write_text("#!/bin/sh\necho nonsense\nread line\n")
    program.chmod(0o700)
    with Client(program=str(program)) as client, pytest.raises(bivista.SessionEnded, match="no answer of a session"):
        client.get_bv2_connect()
    with pytest.raises(FileNotFoundError):
        Client(program=str(tmp_path / "absent"))


def test_without_a_service(tmp_path: Path) -> None:
    with Client(registry=tmp_path, timeout=PATIENCE) as client:
        for _ in range(2):
            with pytest.raises(bivista.ServiceAbsent, match=str(tmp_path)):
                client.get_bv2_connect()
        assert client.session().interfaces == ()
