# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Holds a trace against the published description of Chrome's JSON trace events. Debian's Chromium is built without its
tracing page, which would open one."""
import numbers

METADATA = {"process_name": "name", "thread_name": "name", "process_labels": "labels",
            "process_sort_index": "sort_index", "thread_sort_index": "sort_index"}


def is_number(value):
    return isinstance(value, numbers.Real) and not isinstance(value, bool)


def complaints_of(event):
    """What is wrong with one event of the kinds that are written here."""
    phase = event.get("ph")
    if phase not in ("M", "X", "i", "C"):
        yield f"phase {phase!r}"
        return
    if not isinstance(event.get("name"), str) or not isinstance(event.get("pid"), int):
        yield "no name, or no process"
    if "args" in event and not isinstance(event["args"], dict):
        yield "arguments are no object"
    if phase == "M":
        if METADATA.get(event["name"]) not in event.get("args", {}):
            yield "metadata of no known name, or without its argument"
        return
    if not is_number(event.get("ts")) or event["ts"] < 0:
        yield "no time"
    if phase == "C":
        if not event.get("args") or not all(is_number(value) for value in event["args"].values()):
            yield "a counter without numbers"
        return
    if not isinstance(event.get("tid"), int):
        yield "no thread"
    if phase == "X" and (not is_number(event.get("dur")) or event["dur"] < 0):
        yield "a slice without duration"
    if phase == "i" and event.get("s", "t") not in ("g", "p", "t"):
        yield "an instant of no known scope"


def crossed(events):
    """Slices of one thread that neither hold one another nor stand apart."""
    open_until = {}
    for event in sorted((one for one in events if one["ph"] == "X"), key=lambda one: (one["ts"], -one["dur"])):
        ends = open_until.setdefault((event["pid"], event["tid"]), [])
        while ends and ends[-1] <= event["ts"]:
            ends.pop()
        if ends and event["ts"] + event["dur"] > ends[-1]:
            yield event
        ends.append(event["ts"] + event["dur"])


def judge(trace):
    """All that is wrong with a trace."""
    events = trace["traceEvents"] if isinstance(trace, dict) else trace
    wrong = [(complaint, event) for event in events for complaint in complaints_of(event)]
    return wrong or [("crosses another slice", event) for event in crossed(events)]


def tracks(trace):
    """The names of a trace's threads."""
    events = trace["traceEvents"] if isinstance(trace, dict) else trace
    return {event["tid"]: event["args"]["name"] for event in events
            if event["ph"] == "M" and event["name"] == "thread_name"}
