# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""The blocking client."""
from __future__ import annotations

import concurrent.futures
import itertools
import os
import subprocess
import threading
import time
from collections.abc import Callable, Iterator, Mapping, Sequence
from types import TracebackType
from typing import Any, Generic, TypeVar

from . import _feeds, _protocol, errors, values
from ._blocking_calls import BlockingCalls
from ._protocol import CLIENT, Timeout

T = TypeVar("T")


class Subscription(Generic[T], Iterator[T]):
    """Events as they come, from its making to its close: for a `with` statement and a `for` loop.

    The loop ends when the subscription is closed, and raises ServiceDied, CallbackLost or SessionEnded when
    nothing more can come. EventsLost tells of a gap; the loop may be entered again after it.
    """

    def __init__(self, client: Client, kind: str, read: Callable[[Mapping[str, Any]], T]) -> None:
        self._client = client
        self._feed = _feeds.Feed(kind, read, client._changed.notify_all)

    def __enter__(self) -> Subscription[T]:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def __iter__(self) -> Subscription[T]:
        return self

    def __next__(self) -> T:
        event = self._take(None)
        if event is None:
            raise StopIteration
        return event

    def get(self, timeout: float | None = None) -> T:
        """The next event. Raises TimedOut when none comes in so many seconds."""
        event = self._take(timeout)
        if event is None:
            raise errors.SessionEnded("the subscription is closed")
        return event

    def close(self) -> None:
        """The callback stays with the service, since none can be cleared safely; its events are dropped."""
        self._client._unsubscribe(self._feed)

    def _take(self, timeout: float | None) -> T | None:
        with self._client._changed:
            if not self._client._changed.wait_for(self._feed.has_something, timeout):
                raise errors.TimedOut(f"no event within {timeout} s")
            return self._feed.take()


class Client(BlockingCalls):
    """A session with the service. Several threads may use one; their calls are made one after the other.

    A method returns the value that the service answers with, and raises Refused when it answers FAIL. The
    errors are those of bivista.errors. Close it, or use it in a `with` statement.

    program   "bivistactl", unless its path is given here
    registry  the folder in which the service is registered; else HIDL_SOCKET_DIR counts
    timeout   seconds for each answer, where a call names no others; None waits for ever
    """

    def __init__(
        self,
        *,
        program: str | None = None,
        registry: str | os.PathLike[str] | None = None,
        timeout: float | None = None,
    ) -> None:
        self.timeout = timeout
        command, environment = _protocol.program_environment(program, registry)
        self._process = subprocess.Popen(
            command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, env=environment, start_new_session=True
        )
        self._writing = threading.Lock()
        self._numbers = itertools.count(1)
        # Guards all below; notified of each event.
        self._changed = threading.Condition()
        self._pending: dict[int, concurrent.futures.Future[Any]] = {}
        self._subscriptions = _feeds.Feeds()
        self._end: errors.BivistaError | None = None
        self._reader = threading.Thread(target=self._read, name="bivista session", daemon=True)
        self._reader.start()

    def __enter__(self) -> Client:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()

    def close(self) -> None:
        """Ends the session at once. A call that is under way goes on in the service."""
        self._process.terminate()
        self._process.wait()
        self._reader.join()
        assert self._process.stdin is not None and self._process.stdout is not None
        self._process.stdout.close()
        try:
            self._process.stdin.close()
        except BrokenPipeError:
            pass

    def call(self, method: str, *params: object, timeout: Timeout = CLIENT) -> Any:
        """The result of any method of the session, as it answers; see "bivistactl session --help"."""
        seconds = self.timeout if timeout is CLIENT else timeout
        number = next(self._numbers)
        line = _protocol.request_line(number, method, params)
        answer: concurrent.futures.Future[Any] = concurrent.futures.Future()
        with self._changed:
            if self._end is not None:
                raise self._end
            self._pending[number] = answer
        self._send(line)
        try:
            outcome = answer.result(seconds)
        except concurrent.futures.TimeoutError:
            with self._changed:
                self._pending.pop(number, None)
            raise errors.TimedOut(f"{method}: no answer within {seconds} s") from None
        if isinstance(outcome, errors.BivistaError):
            raise outcome
        return outcome

    def dump(self, *options: str, timeout: Timeout = CLIENT) -> Any:
        """The service's debug dump: its JSON as an object, or with other options than --json its text."""
        return self.call("dump", list(options or ("--json",)), timeout=timeout)["value"]

    def session(self, timeout: Timeout = CLIENT) -> values.SessionInfo:
        """The version of the session, and the interfaces that the service serves."""
        return _protocol.session_info(self.call("session", timeout=timeout))

    def wait_for_service(self, timeout: Timeout = CLIENT) -> None:
        """Returns as soon as a service answers. Raises TimedOut."""
        seconds = self.timeout if timeout is CLIENT else timeout
        end = None if seconds is None else time.monotonic() + seconds
        with self.service_changes() as changes:
            while not self.session(timeout).interfaces:
                changes.get(None if end is None else max(0.0, end - time.monotonic()))

    def lpwg_events(self, version: str = "1.1") -> Subscription[values.LpwgEvent]:
        """Touch and pen events. Takes their callback from the client that has it."""
        return self._subscribe(_feeds.LPWG, _protocol.lpwg_event, version)

    def sub_display_states(self) -> Subscription[values.SubScreenState | int]:
        """States of the sub display. Takes their callback from the client that has it."""
        return self._subscribe(_feeds.SUB_DISPLAY, _protocol.state)

    def at_lines(self) -> Subscription[str]:
        """Each line of the answers to this client's send_at_command(), before it returns."""
        return self._subscribe(_feeds.AT, _feeds.at_line)

    def service_changes(self) -> Subscription[values.ServiceChange]:
        """Deaths and returns of the service."""
        return self._subscribe(_feeds.SERVICE, _feeds.change)

    def _call(self, method: str, params: Sequence[object], timeout: Timeout) -> Any:
        return _protocol.checked(method, self.call(method, *params, timeout=timeout))

    def _subscribe(self, kind: str, read: Callable[[Mapping[str, Any]], T], *more: str) -> Subscription[T]:
        subscription = Subscription(self, kind, read)
        with self._changed:
            if self._end is not None:
                raise self._end
            is_first = self._subscriptions.add(subscription._feed)
        if is_first:
            try:
                self.call("subscribe", kind, *more)
            except BaseException:
                subscription.close()
                raise
        return subscription

    def _unsubscribe(self, feed: _feeds.Feed[T]) -> None:
        with self._changed:
            is_last = self._subscriptions.remove(feed) and self._end is None
            feed.close()
        # Not to wait for a call of another thread.
        if is_last:
            self._send(_protocol.request_line(None, "unsubscribe", [feed.kind]))

    def _send(self, line: bytes) -> None:
        assert self._process.stdin is not None
        try:
            with self._writing:
                self._process.stdin.write(line)
                self._process.stdin.flush()
        except (BrokenPipeError, ValueError):
            # The reading thread learns why, and tells all that wait.
            pass

    def _read(self) -> None:
        assert self._process.stdout is not None
        end = errors.SessionEnded("the session has ended; standard error has the cause")
        try:
            for line in self._process.stdout:
                self._take(_protocol.read_line(line))
        except errors.SessionEnded as nonsense:
            end = nonsense
        with self._changed:
            self._end = end
            self._subscriptions.finish(end)
            pending, self._pending = self._pending, {}
        for answer in pending.values():
            answer.set_result(end)

    def _take(self, message: _protocol.Answer | _protocol.Notification) -> None:
        with self._changed:
            if isinstance(message, _protocol.Notification):
                self._subscriptions.route(message)
                return
            answer = self._pending.pop(message.id, None)
        # Nobody waits for an answer whose time was over.
        if answer is not None:
            answer.set_result(message.outcome)
