# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""The emulated phone of tests."""
from __future__ import annotations

import pathlib

import pytest
from bivista.testing import Phone, PhoneError


@pytest.mark.bivista_phone("--no-cover", "--property", "a.b=c")
def test_a_test_names_the_options_of_its_phone(bivista_phone: Phone) -> None:
    assert "a.b: c" in bivista_phone.ctl("property")
    assert bivista_phone.commands() == []
    bivista_phone.ctl("attach")
    bivista_phone.wait_for("attached")
    assert bivista_phone.commands()[0] == "ATE0"


def test_what_the_emulator_refuses_is_told(bivista_phone: Phone) -> None:
    with pytest.raises(PhoneError, match="bivista-emulator ctl brew: exit status 2"):
        bivista_phone.ctl("brew")


def test_a_phone_that_cannot_come_up_says_why() -> None:
    with pytest.raises(PhoneError, match="--turbo"):
        Phone("--turbo").start()


def test_a_phone_leaves_nothing() -> None:
    with Phone("--no-cover") as phone:
        folder = phone.registry.parent
        assert folder.exists()
        pid = int((folder / "service.pid").read_text())
    assert not folder.exists()
    assert not pathlib.Path(f"/proc/{pid}/exe").exists()


def test_programs_that_are_not_there(monkeypatch: pytest.MonkeyPatch, tmp_path: pathlib.Path) -> None:
    monkeypatch.setenv("PATH", str(tmp_path))
    with pytest.raises(PhoneError, match="bivista-emulator is not on the PATH"):
        Phone().start()
