# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""The client for asyncio."""
from __future__ import annotations

import asyncio
import itertools
import os
from collections.abc import AsyncIterator, Callable, Coroutine, Mapping, Sequence
from types import TracebackType
from typing import Any, Generic, TypeVar

from . import _feeds, _protocol, errors, values
from ._asyncio_calls import AsyncCalls
from ._protocol import CLIENT, Timeout

T = TypeVar("T")


class AsyncSubscription(Generic[T], AsyncIterator[T]):
    """Events as they come, from its making to its close: for `async with` and `async for`.

    The loop ends when the subscription is closed, and raises ServiceDied, CallbackLost or SessionEnded when
    nothing more can come. EventsLost tells of a gap; the loop may be entered again after it.
    """

    def __init__(self, client: AsyncClient, kind: str, read: Callable[[Mapping[str, Any]], T]) -> None:
        self._client = client
        self._is_told = asyncio.Event()
        self._feed = _feeds.Feed(kind, read, self._is_told.set)

    async def __aenter__(self) -> AsyncSubscription[T]:
        return self

    async def __aexit__(self, *_: object) -> None:
        await self.close()

    def __aiter__(self) -> AsyncSubscription[T]:
        return self

    async def __anext__(self) -> T:
        event = await self._take()
        if event is None:
            raise StopAsyncIteration
        return event

    async def get(self, timeout: float | None = None) -> T:
        """The next event. Raises TimedOut when none comes in so many seconds."""
        event = await _within(timeout, self._take(), "no event")
        if event is None:
            raise errors.SessionEnded("the subscription is closed")
        return event

    async def close(self) -> None:
        """The callback stays with the service, since none can be cleared safely; its events are dropped."""
        await self._client._unsubscribe(self._feed)

    async def _take(self) -> T | None:
        while not self._feed.has_something():
            self._is_told.clear()
            await self._is_told.wait()
        return self._feed.take()


class AsyncClient(AsyncCalls):
    """A session with the service, for one event loop. Make it with start(), or with `async with`.

    Its calls are made one after the other. A method returns the value that the service answers with, and
    raises Refused when it answers FAIL. The errors are those of bivista.errors.

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
        self._command, self._environment = _protocol.program_environment(program, registry)
        self._process: asyncio.subprocess.Process | None = None
        self._reader: asyncio.Task[None] | None = None
        self._numbers = itertools.count(1)
        self._pending: dict[int, asyncio.Future[Any]] = {}
        self._subscriptions = _feeds.Feeds()
        self._end: errors.BivistaError | None = None

    async def start(self) -> AsyncClient:
        """Starts the session. Returns this client."""
        self._process = await asyncio.create_subprocess_exec(
            *self._command,
            stdin=asyncio.subprocess.PIPE,
            stdout=asyncio.subprocess.PIPE,
            env=self._environment,
            limit=_protocol.MOST_LINE_BYTES,
            start_new_session=True,
        )
        self._reader = asyncio.create_task(self._read())
        return self

    async def __aenter__(self) -> AsyncClient:
        return await self.start()

    async def __aexit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        await self.close()

    async def close(self) -> None:
        """Ends the session at once. A call that is under way goes on in the service."""
        if self._process is None or self._reader is None:
            return
        if self._process.returncode is None:
            self._process.terminate()
        await self._process.wait()
        await self._reader

    async def call(self, method: str, *params: object, timeout: Timeout = CLIENT) -> Any:
        """The result of any method of the session, as it answers; see "bivistactl session --help"."""
        seconds = self.timeout if timeout is CLIENT else timeout
        number = next(self._numbers)
        line = _protocol.request_line(number, method, params)
        if self._end is not None:
            raise self._end
        answer: asyncio.Future[Any] = asyncio.get_running_loop().create_future()
        self._pending[number] = answer
        try:
            outcome = await _within(seconds, self._ask(line, answer), f"{method}: no answer")
        finally:
            self._pending.pop(number, None)
        if isinstance(outcome, errors.BivistaError):
            raise outcome
        return outcome

    async def dump(self, *options: str, timeout: Timeout = CLIENT) -> Any:
        """The service's debug dump: its JSON as an object, or with other options than --json its text."""
        return (await self.call("dump", list(options or ("--json",)), timeout=timeout))["value"]

    async def session(self, timeout: Timeout = CLIENT) -> values.SessionInfo:
        """The version of the session, and the interfaces that the service serves."""
        return _protocol.session_info(await self.call("session", timeout=timeout))

    async def wait_for_service(self, timeout: Timeout = CLIENT) -> None:
        """Returns as soon as a service answers. Raises TimedOut."""
        seconds = self.timeout if timeout is CLIENT else timeout
        await _within(seconds, self._wait_for_service(), "no service")

    async def lpwg_events(self, version: str = "1.1") -> AsyncSubscription[values.LpwgEvent]:
        """Touch and pen events. Takes their callback from the client that has it."""
        return await self._subscribe(_feeds.LPWG, _protocol.lpwg_event, version)

    async def sub_display_states(self) -> AsyncSubscription[values.SubScreenState | int]:
        """States of the sub display. Takes their callback from the client that has it."""
        return await self._subscribe(_feeds.SUB_DISPLAY, _protocol.state)

    async def at_lines(self) -> AsyncSubscription[str]:
        """Each line of the answers to this client's send_at_command(), before it returns."""
        return await self._subscribe(_feeds.AT, _feeds.at_line)

    async def service_changes(self) -> AsyncSubscription[values.ServiceChange]:
        """Deaths and returns of the service."""
        return await self._subscribe(_feeds.SERVICE, _feeds.change)

    async def _call(self, method: str, params: Sequence[object], timeout: Timeout) -> Any:
        return _protocol.checked(method, await self.call(method, *params, timeout=timeout))

    async def _ask(self, line: bytes, answer: asyncio.Future[Any]) -> Any:
        assert self._process is not None and self._process.stdin is not None
        try:
            self._process.stdin.write(line)
            await self._process.stdin.drain()
        except (BrokenPipeError, ConnectionResetError):
            # The reading task learns why, and tells all that wait.
            pass
        return await answer

    async def _wait_for_service(self) -> None:
        async with await self.service_changes() as changes:
            while not (await self.session(None)).interfaces:
                await changes.get()

    async def _subscribe(self, kind: str, read: Callable[[Mapping[str, Any]], T], *more: str) -> AsyncSubscription[T]:
        if self._end is not None:
            raise self._end
        subscription = AsyncSubscription(self, kind, read)
        if self._subscriptions.add(subscription._feed):
            try:
                await self.call("subscribe", kind, *more)
            except BaseException:
                self._subscriptions.remove(subscription._feed)
                raise
        return subscription

    async def _unsubscribe(self, feed: _feeds.Feed[T]) -> None:
        is_last = self._subscriptions.remove(feed) and self._end is None
        feed.close()
        # Not to wait for a call that is under way.
        if is_last and self._process is not None and self._process.stdin is not None:
            self._process.stdin.write(_protocol.request_line(None, "unsubscribe", [feed.kind]))

    async def _read(self) -> None:
        assert self._process is not None and self._process.stdout is not None
        end = errors.SessionEnded("the session has ended; standard error has the cause")
        try:
            while line := await self._process.stdout.readline():
                self._take(_protocol.read_line(line))
        except (errors.SessionEnded, ValueError) as nonsense:
            end = errors.SessionEnded(str(nonsense))
        self._end = end
        self._subscriptions.finish(end)
        for answer in self._pending.values():
            if not answer.done():
                answer.set_result(end)

    def _take(self, message: _protocol.Answer | _protocol.Notification) -> None:
        if isinstance(message, _protocol.Notification):
            self._subscriptions.route(message)
            return
        # Nobody waits for an answer whose time was over.
        answer = self._pending.get(message.id)
        if answer is not None and not answer.done():
            answer.set_result(message.outcome)


async def _within(seconds: float | None, what: Coroutine[Any, Any, T], complaint: str) -> T:
    try:
        return await asyncio.wait_for(what, seconds)
    except asyncio.TimeoutError:
        raise errors.TimedOut(f"{complaint} within {seconds} s") from None
