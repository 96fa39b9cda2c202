// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/client/History.h"

#include <stdio.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "tools/client/Dump.h"
#include "tools/text/Text.h"

namespace bivistactl {
namespace {

constexpr char kUnknown[] = "the service's history cannot be understood";

std::string textIn(const Json& row, const char* name) {
    return textOf(memberOf(row, name)).value_or("");
}

int64_t numberIn(const Json& row, const char* name) {
    return numberOf(memberOf(row, name)).value_or(0);
}

std::optional<Event> readEvent(const Json& row) {
    Event event = {
            numberIn(row, "number"), numberIn(row, "wallMicros"), numberIn(row, "monotonicMicros"),
            textIn(row, "kind"),     textIn(row, "what"),         {},
            textIn(row, "cause")};
    if (event.number <= 0 || event.kind.empty()) return std::nullopt;
    if (const Json* const values = memberOf(row, "values"); values != nullptr) {
        for (const Json& value : *values) {
            if (const auto number = numberOf(&value)) event.values.push_back(*number);
        }
    }
    event.repeats = numberIn(row, "repeats");
    return event;
}

std::vector<Event> readEvents(const Json& rows) {
    std::vector<Event> events;
    if (!rows.is_array()) return events;
    for (const Json& row : rows) {
        if (auto event = readEvent(row)) events.push_back(*std::move(event));
    }
    std::stable_sort(events.begin(), events.end(), [](const Event& one, const Event& other) {
        return one.number < other.number;
    });
    return events;
}

}  // namespace

Json toJson(const Event& event) {
    return {{"number", event.number},
            {"wallMicros", event.wallMicros},
            {"monotonicMicros", event.monotonicMicros},
            {"kind", event.kind},
            {"what", orNull(event.what)},
            {"values", event.values},
            {"cause", orNull(event.cause)},
            {"repeats", event.repeats}};
}

std::string inWords(const Event& event) {
    char millis[8];
    snprintf(millis, sizeof(millis), ".%03dZ", static_cast<int>(event.wallMicros / 1000 % 1000));
    std::string line = inUtc(event.wallMicros) + millis + "  #" + std::to_string(event.number) +
                       "  " + event.kind;
    if (!event.what.empty()) line += " " + event.what;
    for (const int64_t value : event.values) line += " " + std::to_string(value);
    if (!event.cause.empty()) line += ": " + event.cause;
    if (event.repeats > 0) line += " (and " + std::to_string(event.repeats) + " before it)";
    return line;
}

History History::unknown(const std::string& fault) {
    History history;
    history.mFault = fault;
    return history;
}

History::History(std::string_view text) {
    const Json sections = parseShallow(text);
    const Json* const history = memberOf(sections, "history");
    const Json* const events = memberOf(sections, "events");
    if (history == nullptr || events == nullptr) {
        mFault = text.empty() ? "the service has no debug dump"
                 : sections.is_object() || text.starts_with("Unknown option")
                         ? "the service is of an older version, and keeps no history"
                         : kUnknown;
        return;
    }
    mEvents = readEvents(*events);
    mLast = numberIn(*history, "last");
    mLost = numberIn(*history, "lost");
    if (const Json* const service = memberOf(sections, "service")) {
        mService = std::to_string(numberIn(*service, "pid")) + " " +
                   std::to_string(numberIn(*service, "startedWallMicros"));
    }
    const Json* const callbacks = memberOf(sections, "callbacks");
    const Json* const lpwg = callbacks == nullptr ? nullptr : memberOf(*callbacks, "lpwg");
    if (lpwg != nullptr) mLpwgCallback = textOf(lpwg).value_or("");
}

History History::of(const ::android::sp<BivistaV1_0>& service, int64_t since) {
    return History(readDump(service, {"--json", "--since", std::to_string(since)}));
}

}  // namespace bivistactl
