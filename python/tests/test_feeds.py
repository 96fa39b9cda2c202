# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""What is told, without a session."""
from __future__ import annotations

from typing import Any

import pytest
from bivista import _feeds, _protocol, errors, values
from bivista._protocol import Notification


def make_feed(kind: str = _feeds.AT) -> _feeds.Feed[str]:
    return _feeds.Feed(kind, _feeds.at_line, lambda: None)


def line(text: str) -> Notification:
    return Notification("at", {"line": text})


def test_events_come_in_their_order() -> None:
    feeds, feed = _feeds.Feeds(), make_feed()
    assert feeds.add(feed)
    for text in "abc":
        feeds.route(line(text))
    assert [feed.take() for _ in "abc"] == ["a", "b", "c"]
    assert not feed.has_something()


def test_only_the_first_and_the_last_of_a_kind_concern_the_session() -> None:
    feeds, one, two, other = _feeds.Feeds(), make_feed(), make_feed(), make_feed(_feeds.LPWG)
    assert [feeds.add(each) for each in (one, two, other)] == [True, False, True]
    feeds.route(line("a"))
    assert one.take() == two.take() == "a"
    assert not other.has_something()
    assert [feeds.remove(each) for each in (one, two, other, other)] == [False, True, True, False]


def test_a_reader_that_is_too_slow_is_told_once_how_much_it_lost() -> None:
    feed = make_feed()
    for number in range(_feeds.MOST_EVENTS + 3):
        feed.put({"line": str(number)})
    for number in range(_feeds.MOST_EVENTS):
        assert feed.take() == str(number)
    with pytest.raises(errors.EventsLost) as lost:
        feed.take()
    assert lost.value.count == 3
    feed.put({"line": "after"})
    assert feed.take() == "after"


def test_what_the_session_lost_is_told_in_its_place() -> None:
    feeds, feed = _feeds.Feeds(), make_feed()
    feeds.add(feed)
    for told in (line("a"), Notification("eventsLost", {"count": 2}), Notification("eventsLost", {"count": 5}), line("b")):
        feeds.route(told)
    assert feed.take() == "a"
    with pytest.raises(errors.EventsLost, match="^7 events were lost"):
        feed.take()
    assert feed.take() == "b"


@pytest.mark.parametrize(
    ("told", "error"),
    [
        (Notification("callbackLost", {"callback": "at"}), errors.CallbackLost),
        (Notification("serviceDied", {}), errors.ServiceDied),
    ],
)
def test_an_end_is_told_after_the_events_before_it_and_each_time(told: Notification, error: type[Exception]) -> None:
    feeds, feed = _feeds.Feeds(), make_feed()
    feeds.add(feed)
    feeds.route(line("a"))
    feeds.route(told)
    feeds.route(line("late"))
    assert feed.take() == "a"
    for _ in range(2):
        with pytest.raises(error):
            feed.take()
    # The session has no such subscription any more.
    assert not feeds.remove(feed)
    assert feeds.add(make_feed())


def test_changes_of_the_service_do_not_end_with_it() -> None:
    feeds = _feeds.Feeds()
    feed = _feeds.Feed(_feeds.SERVICE, _feeds.change, lambda: None)
    assert not feeds.add(feed)
    feeds.route(Notification("serviceDied", {}))
    feeds.route(Notification("serviceReturned", {}))
    assert [feed.take(), feed.take()] == [values.ServiceChange.DIED, values.ServiceChange.RETURNED]


def test_a_notification_of_a_later_version_is_no_news() -> None:
    feeds, feed = _feeds.Feeds(), make_feed()
    feeds.add(feed)
    feeds.route(Notification("weather", {}))
    assert not feed.has_something()


@pytest.mark.parametrize(
    "line",
    [b"", b"nonsense\n", b"[]\n", b"1\n", b'"method"\n', b"{}\n", b'{"id":1}\n', b'{"id":null,"result":1}\n',
     b'{"method":1}\n', b'{"id":1,"error":3}\n', b'{"method":"at","params":3}\n', b"\xff\n"],
)  # fmt: skip
def test_what_is_no_answer_ends_the_session(line: bytes) -> None:
    with pytest.raises(errors.SessionEnded):
        _protocol.read_line(line)


@pytest.mark.parametrize(
    ("code", "kind"),
    [
        (-32000, errors.ServiceAbsent),
        (-32001, errors.ServiceDied),
        (-32002, errors.CallRefused),
        (-32003, errors.ServiceTooOld),
        (-32004, errors.NoDump),
        (-32602, errors.InvalidArguments),
        (-32603, errors.BivistaError),
        (5, errors.BivistaError),
    ],
)
def test_each_error_of_the_session_is_one_of_the_package(code: int, kind: type[Exception]) -> None:
    answer = _protocol.read_line(b'{"id":1,"error":{"code":%d,"message":"m"}}' % code)
    assert isinstance(answer, _protocol.Answer)
    assert type(answer.outcome) is kind
    assert str(answer.outcome) == "m"


@pytest.mark.parametrize("params", [[object()], ["\udcff"], [b"bytes"]])
def test_what_is_no_json_is_an_invalid_argument(params: list[Any]) -> None:
    with pytest.raises(errors.InvalidArguments):
        _protocol.request_line(1, "setBrightness", params)


def test_a_number_without_a_name_stays_a_number() -> None:
    assert _protocol.state({"state": "ON", "code": 3}) is values.SubScreenState.ON
    assert _protocol.state({"state": None, "code": 9}) == 9
