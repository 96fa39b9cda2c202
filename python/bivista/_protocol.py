# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""The session's messages and how they become values, without any input or output."""
from __future__ import annotations

import dataclasses
import enum
import json
import os
from collections.abc import Mapping, Sequence
from typing import Any, TypeAlias

from . import errors, values

# "bivistactl session" takes no longer line, and sends none that is much longer.
MOST_LINE_BYTES = 64 << 20


class _Default(enum.Enum):
    CLIENT = "the client's"


CLIENT = _Default.CLIENT
# Seconds; None waits for ever; CLIENT is the time that the client was made with.
Timeout: TypeAlias = float | None | _Default

_ERRORS: Mapping[int, type[errors.BivistaError]] = {
    -32000: errors.ServiceAbsent,
    -32001: errors.ServiceDied,
    -32002: errors.CallRefused,
    -32003: errors.ServiceTooOld,
    -32004: errors.NoDump,
    -32602: errors.InvalidArguments,
}


@dataclasses.dataclass(frozen=True)
class Answer:
    id: int
    outcome: Any  # the result, or a BivistaError


@dataclasses.dataclass(frozen=True)
class Notification:
    method: str
    params: Mapping[str, Any]


def request_line(number: int | None, method: str, params: Sequence[object]) -> bytes:
    """With None as its number the session carries it out and does not answer."""
    message: dict[str, object] = {"jsonrpc": "2.0", "method": method, "params": params}
    if number is not None:
        message["id"] = number
    try:
        return json.dumps(message, separators=(",", ":"), ensure_ascii=False).encode() + b"\n"
    except (UnicodeEncodeError, TypeError, ValueError) as error:
        raise errors.InvalidArguments(f"{method}: {error}") from error


def read_line(line: bytes) -> Answer | Notification:
    """Raises SessionEnded for what no session says."""
    try:
        message = json.loads(line)
        if "method" in message:
            return Notification(str(message["method"]), dict(message["params"]))
        outcome = message["result"] if "result" in message else error_from(message["error"])
        return Answer(int(message["id"]), outcome)
    except (ValueError, TypeError, KeyError) as error:
        raise errors.SessionEnded(f"this is no answer of a session: {line[:200]!r}") from error


def error_from(error: Mapping[str, Any]) -> errors.BivistaError:
    return _ERRORS.get(error["code"], errors.BivistaError)(str(error["message"]))


def checked(method: str, result: Mapping[str, Any]) -> Any:
    """The value of a method's answer; raises Refused for FAIL."""
    if result.get("status", "OK") != "OK":
        raise errors.Refused(method, result.get("value"))
    return result.get("value")


def program_environment(
    program: str | None, registry: str | os.PathLike[str] | None
) -> tuple[list[str], dict[str, str]]:
    """The command line of a session, and its environment."""
    environment = dict(os.environ)
    if registry is not None:
        environment["HIDL_SOCKET_DIR"] = os.fspath(registry)
    return [program or "bivistactl", "session"], environment


# What the values of answers and notifications become.


def cover_connected(value: Mapping[str, bool]) -> bool:
    return value["connected"]


def panel(value: Mapping[str, int]) -> values.SubScreenInfo:
    return values.SubScreenInfo(value["x"], value["y"], value["format"])


def state(value: Mapping[str, Any]) -> values.SubScreenState | int:
    """A plain number where the interface has no name for it."""
    code = int(value["code"])
    return values.SubScreenState(code) if code in values.SubScreenState._value2member_map_ else code


def lpwg_event(params: Mapping[str, Any]) -> values.LpwgEvent:
    return values.LpwgEvent(params["version"], params["status"], params["name"], params["result"])


def session_info(result: Mapping[str, Any]) -> values.SessionInfo:
    service = result["service"] or {"interfaces": ()}
    return values.SessionInfo(result["version"], tuple(service["interfaces"]), tuple(result["subscriptions"]))
