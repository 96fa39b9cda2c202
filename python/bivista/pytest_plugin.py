# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Fixtures of pytest: an emulated phone with the service, and clients of it. In a conftest.py:

    pytest_plugins = ["bivista.pytest_plugin"]

A test names the options of its phone: `@pytest.mark.bivista_phone("--no-cover")`.
"""
from __future__ import annotations

from collections.abc import Iterator

import pytest

from .client import Client
from .testing import Phone


def pytest_configure(config: pytest.Config) -> None:
    config.addinivalue_line("markers", "bivista_phone(*options): options of the emulated phone of this test")


@pytest.fixture
def bivista_phone(request: pytest.FixtureRequest) -> Iterator[Phone]:
    """A phone of this test alone, with an attached cover and the service."""
    marker = request.node.get_closest_marker("bivista_phone")
    with Phone(*(marker.args if marker is not None else ())) as phone:
        yield phone


@pytest.fixture
def bivista_client(bivista_phone: Phone) -> Iterator[Client]:
    """A blocking client of that phone's service."""
    with bivista_phone.client() as client:
        yield client
