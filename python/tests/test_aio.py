# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""The client for asyncio, with the service on an emulated phone."""
from __future__ import annotations

import asyncio
import os
import signal
from collections.abc import Awaitable, Callable
from pathlib import Path

import bivista
import pytest
from bivista import AsyncClient
from bivista.testing import PATIENCE, Phone

VERSION = "BV330-V10k_20210312"


def run(phone: Phone, test: Callable[[AsyncClient], Awaitable[None]]) -> None:
    """Runs the test with a client of the phone."""

    async def body() -> None:
        async with AsyncClient(registry=phone.registry, timeout=PATIENCE) as client:
            await test(client)

    asyncio.run(body())


def test_methods_return_the_values_of_the_service(bivista_phone: Phone) -> None:
    async def test(client: AsyncClient) -> None:
        assert await client.get_bv2_connect() is True
        versions = await asyncio.gather(*(client.get_firmware_version() for _ in range(5)))
        assert versions == [VERSION] * 5
        assert await client.get_sub_display_info() == bivista.SubScreenInfo(128, 128, 4)
        with pytest.raises(bivista.Refused):
            await client.set_sub_display_brightness(256)
        with pytest.raises(bivista.InvalidArguments):
            await client.set_brightness(1 << 32)
        assert "display" in await client.dump()

    run(bivista_phone, test)


def test_an_answer_that_comes_too_late_is_dropped(bivista_phone: Phone) -> None:
    async def test(client: AsyncClient) -> None:
        bivista_phone.ctl("fault", "on AT%SWV late 1s times 2")
        with pytest.raises(bivista.TimedOut):
            await client.get_firmware_version(timeout=0.01)
        with pytest.raises(asyncio.TimeoutError):
            await asyncio.wait_for(client.get_firmware_version(), 0.01)
        assert await client.get_firmware_version() == VERSION

    run(bivista_phone, test)


def test_events(bivista_phone: Phone) -> None:
    async def test(client: AsyncClient) -> None:
        async with await client.at_lines() as lines:
            await client.send_at_command("AT%SWV")
            assert await lines.get(PATIENCE) == VERSION + "\n"
            with pytest.raises(bivista.TimedOut):
                await lines.get(0.01)
        assert [line async for line in lines] == []
        async with await client.lpwg_events() as events:
            await asyncio.to_thread(bivista_phone.wait_for_listener)
            bivista_phone.ctl("gesture", "WAKEUP")
            assert (await anext(events)).name == "WAKEUP"
        async with await client.sub_display_states() as mine:
            with bivista_phone.client() as other, other.sub_display_states():
                with pytest.raises(bivista.CallbackLost):
                    await mine.get(PATIENCE)

    run(bivista_phone, test)


def test_the_service_dies_and_returns(bivista_phone: Phone) -> None:
    async def test(client: AsyncClient) -> None:
        events, changes = await client.lpwg_events(), await client.service_changes()
        await asyncio.to_thread(bivista_phone.kill_service)
        assert await anext(changes) is bivista.ServiceChange.DIED
        with pytest.raises(bivista.ServiceDied):
            await anext(events)
        with pytest.raises(bivista.ServiceAbsent):
            await client.get_bv2_connect()
        with pytest.raises(bivista.TimedOut):
            await client.wait_for_service(timeout=0.01)
        await asyncio.to_thread(bivista_phone.start_service)
        await client.wait_for_service()
        assert await anext(changes) is bivista.ServiceChange.RETURNED

    run(bivista_phone, test)


def test_the_session_is_killed(bivista_phone: Phone) -> None:
    async def test(client: AsyncClient) -> None:
        lines = await client.at_lines()
        assert client._process is not None
        os.kill(client._process.pid, signal.SIGKILL)
        with pytest.raises(bivista.SessionEnded):
            await anext(lines)
        with pytest.raises(bivista.SessionEnded):
            await client.get_bv2_connect()
        with pytest.raises(bivista.SessionEnded):
            await client.at_lines()

    run(bivista_phone, test)


def test_a_program_that_is_no_session(tmp_path: Path) -> None:
    program = tmp_path / "nonsense"
    program.write_text("#!/bin/sh\necho nonsense\nread line\n")
    program.chmod(0o700)

    async def body() -> None:
        async with AsyncClient(program=str(program)) as client:
            with pytest.raises(bivista.SessionEnded):
                await client.get_bv2_connect()

    asyncio.run(body())
