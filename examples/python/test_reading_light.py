# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of the small client on an emulated phone: python3 -m pytest examples/python"""
from __future__ import annotations

import threading

import bivista
import pytest
from bivista.testing import PATIENCE, Phone
from reading_light import ReadingLight


def test_the_picture_fills_the_panel(bivista_client: bivista.Client) -> None:
    picture = ReadingLight(bivista_client, level=255).picture()
    assert picture == [0xF0] * (128 * 128)


def test_a_gesture_switches_the_screen_on(bivista_phone: Phone, bivista_client: bivista.Client) -> None:
    bivista_phone.wait_for("sub=ON")
    with bivista_client.lpwg_events() as events:
        serving = threading.Thread(target=ReadingLight(bivista_client).serve, args=[events])
        serving.start()
        bivista_phone.wait_for_listener()
        bivista_phone.ctl("gesture", "WAKEUP")
        bivista_phone.wait_for("screen=on")
        events.close()
        serving.join(PATIENCE)
    assert "AT%BV=1" in bivista_phone.commands()


@pytest.mark.bivista_phone("--no-cover")
def test_without_a_cover_the_service_refuses(bivista_client: bivista.Client) -> None:
    with pytest.raises(bivista.Refused):
        ReadingLight(bivista_client).switch_on()
