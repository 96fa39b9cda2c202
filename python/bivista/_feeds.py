# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""What was told and is not yet taken, for the subscriptions of both clients, which lock and wait."""
from __future__ import annotations

from collections import deque
from collections.abc import Callable, Iterable, Mapping
from typing import Any, Generic, TypeVar

from . import _protocol, errors, values

T = TypeVar("T")

# Events that one subscription keeps.
MOST_EVENTS = 10_000

LPWG, SUB_DISPLAY, AT, SERVICE = "lpwg", "subDisplay", "at", "service"


class Feed(Generic[T]):
    """The events of one subscription. `wake` is called when there is something to take."""

    def __init__(self, kind: str, read: Callable[[Mapping[str, Any]], T], wake: Callable[[], None]) -> None:
        self.kind = kind
        self.end: errors.BivistaError | None = None
        self.is_closed = False
        self._read = read
        self._wake = wake
        self._waiting: deque[T | errors.EventsLost] = deque()

    def put(self, params: Mapping[str, Any]) -> None:
        if len(self._waiting) < MOST_EVENTS:
            self._waiting.append(self._read(params))
            self._wake()
        else:
            self.lose(1)

    def lose(self, count: int) -> None:
        last = self._waiting[-1] if self._waiting else None
        if isinstance(last, errors.EventsLost):
            count += last.count
            self._waiting.pop()
        self._waiting.append(errors.EventsLost(count))
        self._wake()

    def finish(self, end: errors.BivistaError) -> None:
        """No event comes after those that wait."""
        self.end = self.end or end
        self._wake()

    def close(self) -> None:
        self.is_closed = True
        self._wake()

    def has_something(self) -> bool:
        return bool(self._waiting) or self.is_closed or self.end is not None

    def take(self) -> T | None:
        """The next event; None when the subscription is closed. Raises what is to be told in its place."""
        if self.is_closed:
            return None
        if not self._waiting:
            assert self.end is not None
            raise self.end
        event = self._waiting.popleft()
        if isinstance(event, errors.EventsLost):
            raise event
        return event


class Feeds:
    """All subscriptions of one session."""

    def __init__(self) -> None:
        self._feeds: list[Feed[Any]] = []

    def add(self, feed: Feed[Any]) -> bool:
        """Whether it is the first one of its kind, for which the session is to subscribe."""
        is_first = not any(self._of(feed.kind))
        self._feeds.append(feed)
        return is_first and feed.kind != SERVICE

    def remove(self, feed: Feed[Any]) -> bool:
        """Whether it was the last one of its kind, for which the session is to unsubscribe."""
        if feed not in self._feeds:
            return False
        self._feeds.remove(feed)
        return feed.kind != SERVICE and feed.end is None and not any(self._of(feed.kind))

    def route(self, told: _protocol.Notification) -> None:
        if told.method in (LPWG, SUB_DISPLAY, AT):
            for feed in self._of(told.method):
                feed.put(told.params)
        elif told.method == "callbackLost":
            lost = errors.CallbackLost(f"another client has taken the callback {told.params['callback']!r}")
            self._finish(self._of(told.params["callback"]), lost)
        elif told.method == "eventsLost":
            for feed in list(self._feeds):
                feed.lose(told.params["count"])
        elif told.method in (values.ServiceChange.DIED.value, values.ServiceChange.RETURNED.value):
            for feed in self._of(SERVICE):
                feed.put({"change": told.method})
            if told.method == values.ServiceChange.DIED.value:
                died = errors.ServiceDied("the service died")
                self._finish([feed for feed in self._feeds if feed.kind != SERVICE], died)

    def finish(self, end: errors.BivistaError) -> None:
        self._finish(list(self._feeds), end)

    def _finish(self, feeds: Iterable[Feed[Any]], end: errors.BivistaError) -> None:
        for feed in list(feeds):
            feed.finish(end)
            self._feeds.remove(feed)

    def _of(self, kind: str) -> list[Feed[Any]]:
        return [feed for feed in self._feeds if feed.kind == kind]


def change(params: Mapping[str, Any]) -> values.ServiceChange:
    return values.ServiceChange(params["change"])


def at_line(params: Mapping[str, Any]) -> str:
    return str(params["line"])
