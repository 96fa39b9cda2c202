# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Values of the interface."""
from __future__ import annotations

import dataclasses
import enum


class ScreenMode(enum.IntEnum):
    """Colour mode of the cover screen. The interface takes any other number, too."""

    DEFAULT = 0
    MODE_1 = 1
    MODE_2 = 2
    MODE_3 = 3


class SubScreenState(enum.IntEnum):
    """Power state of the sub display."""

    UNINITIALIZED = 0
    INITIALIZED = 1
    OFF = 2
    ON = 3


@dataclasses.dataclass(frozen=True)
class SubScreenInfo:
    """Width and height of the sub display in pixels, and its pixel format code."""

    x: int
    y: int
    format: int


@dataclasses.dataclass(frozen=True)
class LpwgEvent:
    """A touch or pen event. `name` is None for a number that has none; `version` is the callback's."""

    version: str
    status: int
    name: str | None
    result: int


class ServiceChange(enum.Enum):
    """What became of the service."""

    DIED = "serviceDied"
    RETURNED = "serviceReturned"


@dataclasses.dataclass(frozen=True)
class SessionInfo:
    """What a session says of itself. `interfaces` is empty without a service."""

    version: str
    interfaces: tuple[str, ...]
    subscriptions: tuple[str, ...]
