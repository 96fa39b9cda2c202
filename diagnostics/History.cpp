// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "diagnostics/History.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

// In the order of EventKind.
constexpr const char* kNames[] = {"start",   "attach",       "detach",   "setting", "failure",
                                  "timeout", "refused",      "recovery", "votes",   "callback",
                                  "panel",   "frameDropped", "upgrade",  "signal",  "lpwgEvent"};
static_assert(std::size(kNames) == static_cast<size_t>(EventKind::kLpwgEvent) + 1);

}  // namespace

const char* nameOf(EventKind kind) {
    return kNames[static_cast<size_t>(kind)];
}

const char* textOf(const Cause& cause) {
    if (cause.error == EPROTONOSUPPORT) return "Command not supported";
    return cause.error != 0 ? strerror(cause.error) : cause.words;
}

Event::Event(EventKind itsKind, std::string_view itsWhat, std::initializer_list<int64_t> itsValues,
             Cause itsCause)
    : at(Moment::now()), cause(itsCause), kind(itsKind) {
    valueCount = static_cast<uint8_t>(std::min(itsValues.size(), kMostValues));
    std::copy_n(itsValues.begin(), valueCount, values.begin());
    itsWhat.copy(what, kWhatCapacity - 1);
}

void History::add(const Event& event) {
    Event& place = mEvents[mLast % kCapacity];
    place = event;
    place.number = ++mLast;
}

uint64_t History::lostSince(uint64_t number) const {
    return first() > number + 1 && number < mLast ? first() - number - 1 : 0;
}

void History::copySince(uint64_t number, std::vector<Event>* events) const {
    if (number >= mLast) return;
    for (uint64_t next = std::max(first(), number + 1); next <= mLast; ++next) {
        events->push_back(mEvents[(next - 1) % kCapacity]);
    }
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
