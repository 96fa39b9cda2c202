// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "diagnostics/Statistics.h"

#include <cerrno>
#include <utility>

#include "kernel/base/CommandName.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

Statistics& sStatistics = *new Statistics;

thread_local bool sIsOrderOfDetach = false;

namespace {

constexpr size_t kNames = 40;
// By ClientCallback.
constexpr const char* kCallbackNames[kClientCallbacks] = {"lpwg", "subDisplay", "at"};

CommandCounts& rowOf(const std::string& name, std::vector<CommandCounts>* rows) {
    // No name equals that of the row that others share, which is in small letters.
    for (CommandCounts& row : *rows) {
        if (row.name == name) return row;
    }
    if (rows->size() <= kNames) rows->push_back({rows->size() < kNames ? name : "other", 0, 0, {}});
    return rows->back();
}

// What a reset keeps.
Counts keptOf(const Counts& counts) {
    Counts kept;
    for (const CommandCounts& row : counts.commands) kept.commands.push_back({row.name, 0, 0, {}});
    kept.lastOrder = counts.lastOrder;
    kept.orders = counts.orders;
    return kept;
}

}  // namespace

void Statistics::count(uint64_t Counts::*counter) {
    const LeafLock lock(mLock);
    ++(mCounts.*counter);
}

void Statistics::countExchange(const char* cmd, uint64_t micros, int error) {
    const std::string name = nameOfCommand(cmd);
    const LeafLock lock(mLock);
    CommandCounts& row = rowOf(name, &mCounts.commands);
    row.latency.add(micros);
    if (error == 0) return;
    ++row.failures;
    if (error == ETIME) ++row.timeouts;
    mCounts.lastFailure = {name, error, monotonicMicros()};
    add({error == ETIME ? EventKind::kTimeout : EventKind::kFailure,
         name,
         {},
         Cause::ofError(error)});
}

void Statistics::countRefusal(const char* cmd, int error) {
    const std::string name = nameOfCommand(cmd);
    const LeafLock lock(mLock);
    ++mCounts.refused;
    mCounts.lastFailure = {name, error, monotonicMicros()};
    add({EventKind::kRefused, name, {}, Cause::ofError(error)});
}

void Statistics::countOrder(const char* name, bool accepted) {
    if (sIsOrderOfDetach) return;
    const LeafLock lock(mLock);
    ++mCounts.orders;
    mCounts.lastOrder = {name, accepted, monotonicMicros()};
    add({EventKind::kUpgrade, name, {}, accepted ? "OK" : "FAIL"});
}

void Statistics::countRecovery() {
    const LeafLock lock(mLock);
    ++mCounts.recoveries;
    add({EventKind::kRecovery, {}});
}

void Statistics::countDropped(Cause cause) {
    const LeafLock lock(mLock);
    ++mCounts.framesDropped;
    add({EventKind::kFrameDropped, {}, {}, cause});
}

void Statistics::countRetry(int error) {
    const LeafLock lock(mLock);
    ++mCounts.frameRetries;
    add({EventKind::kFailure, "hidDisplayPalette", {}, Cause::ofError(error)});
}

void Statistics::record(EventKind kind, std::string_view what,
                        std::initializer_list<int64_t> values, Cause cause) {
    const LeafLock lock(mLock);
    add({kind, what, values, cause});
}

void Statistics::recordCallback(ClientCallback which, const char* version) {
    const LeafLock lock(mLock);
    const auto index = static_cast<size_t>(which);
    const bool hadOne = mCallbacks[index] != nullptr;
    if (version == nullptr && !hadOne) return;
    mCallbacks[index] = version;
    mAreDead[index] = false;
    add({EventKind::kCallback,
         kCallbackNames[index],
         {},
         version == nullptr ? "cleared"
         : hadOne           ? "replaced"
                            : "registered"});
}

void Statistics::recordDeath(ClientCallback which) {
    const LeafLock lock(mLock);
    const auto index = static_cast<size_t>(which);
    if (std::exchange(mAreDead[index], true)) return;
    add({EventKind::kCallback, kCallbackNames[index], {}, "died"});
}

void Statistics::recordStopSignal() {
    for (SignalSlot& slot : mSignals) {
        SignalSlot::State free = SignalSlot::kFree;
        if (!slot.state.compare_exchange_strong(free, SignalSlot::kTaken)) continue;
        slot.at = Moment::now();
        slot.state = SignalSlot::kFilled;
        return;
    }
}

EventList Statistics::eventsSince(uint64_t number) {
    EventList list;
    list.events.reserve(History::kCapacity);
    const LeafLock lock(mLock);
    addSignals();
    list.first = mHistory.first();
    list.last = mHistory.last();
    list.lost = mHistory.lostSince(number);
    mHistory.copySince(number, &list.events);
    return list;
}

CallbackVersions Statistics::callbacks() {
    const LeafLock lock(mLock);
    return mCallbacks;
}

void Statistics::add(const Event& event) {
    addSignals();
    mHistory.add(event);
}

void Statistics::addSignals() {
    for (SignalSlot& slot : mSignals) {
        if (slot.state != SignalSlot::kFilled) continue;
        Event event(EventKind::kSignal, "SIGUSR1");
        event.at = slot.at;
        slot.state = SignalSlot::kFree;
        mHistory.add(event);
    }
}

Counts Statistics::take(bool reset) {
    const LeafLock lock(mLock);
    Counts taken = mCounts;
    if (reset) mCounts = keptOf(taken);
    return taken;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
