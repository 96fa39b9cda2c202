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

bool isSame(const char* one, const char* other) {
    if (one == nullptr || other == nullptr) return one == other;
    return strcmp(one, other) == 0;
}

// What a slider sets. Of other settings each step counts: who switches off and on has done both.
bool isLevel(const char* what) {
    return isSame(what, "brightness") || isSame(what, "subDisplay.brightness");
}

// Whether the two are told as one.
bool isLike(const Event& one, const Event& other) {
    if (one.kind != other.kind) return false;
    if (one.kind == EventKind::kSetting) {
        return isLevel(one.what) && isSame(one.what, other.what);
    }
    return one.kind == EventKind::kFrameDropped && one.cause.error == other.cause.error &&
           isSame(one.cause.words, other.cause.words);
}

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
    if (mLast > 0) {
        Event& newest = mEvents[(mLast - 1) % kCapacity];
        if (isLike(event, newest)) {
            const uint32_t repeats = newest.repeats + 1;
            newest = event;
            newest.number = mLast;
            newest.repeats = repeats;
            return;
        }
    }
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
