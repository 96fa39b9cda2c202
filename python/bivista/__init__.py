# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Client of the Bivista service, the service of a phone's detachable cover, over "bivistactl session".

Client is the blocking client, AsyncClient the one for asyncio. Both have all methods of the interface, by the
interface's names in snake case: set_brightness() is setBrightness.
"""
from ._protocol import CLIENT, Timeout
from .aio import AsyncClient, AsyncSubscription
from .client import Client, Subscription
from .errors import (
    BivistaError,
    CallbackLost,
    CallRefused,
    EventsLost,
    InvalidArguments,
    NoDump,
    Refused,
    ServiceAbsent,
    ServiceDied,
    ServiceTooOld,
    SessionEnded,
    TimedOut,
)
from .values import LpwgEvent, ScreenMode, ServiceChange, SessionInfo, SubScreenInfo, SubScreenState

__all__ = [
    "AsyncClient",
    "AsyncSubscription",
    "BivistaError",
    "CLIENT",
    "CallRefused",
    "CallbackLost",
    "Client",
    "EventsLost",
    "InvalidArguments",
    "LpwgEvent",
    "NoDump",
    "Refused",
    "ScreenMode",
    "ServiceAbsent",
    "ServiceChange",
    "ServiceDied",
    "ServiceTooOld",
    "SessionEnded",
    "SessionInfo",
    "SubScreenInfo",
    "SubScreenState",
    "Subscription",
    "TimedOut",
    "Timeout",
]
