# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""What goes wrong between a client and the service. All are BivistaError."""
from __future__ import annotations


class BivistaError(Exception):
    """Base of all errors of this package."""


class Refused(BivistaError):
    """The service answered FAIL; its log has the cause.

    `value` is what came all the same, such as the lines of an answer that ended in ERROR; None when
    the method has no value.
    """

    def __init__(self, method: str, value: object = None) -> None:
        super().__init__(f"{method}: the service answered FAIL; its log has the cause")
        self.method = method
        self.value = value


class ServiceAbsent(BivistaError):
    """No service is registered, or none answers. The call was not made."""


class ServiceDied(BivistaError):
    """The service died: during the call, which it may have carried out, or while events were awaited."""


class CallRefused(BivistaError):
    """The transport refused the call, such as a frame above 1 MiB."""


class ServiceTooOld(BivistaError):
    """The service serves only version 1.0 of its interface."""


class NoDump(BivistaError):
    """The service has no dump, or one that does not end or is too long."""


class InvalidArguments(BivistaError, ValueError):
    """The arguments are out of range or of the wrong types. The call was not made."""


class TimedOut(BivistaError, TimeoutError):
    """No answer or event in time. The service may still carry the call out; a late answer is dropped."""


class SessionEnded(BivistaError):
    """The program "bivistactl session" has ended, or answered what is no answer."""


class CallbackLost(BivistaError):
    """Another client has taken the callback. Subscribe again to take it back."""


class EventsLost(BivistaError):
    """Events came faster than they were taken. The events after them can still be taken."""

    def __init__(self, count: int) -> None:
        super().__init__(f"{count} events were lost, since they were not taken in time")
        self.count = count
