// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "diagnostics/Statistics.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

Statistics& sStatistics = *new Statistics;

thread_local bool sIsOrderOfDetach = false;

namespace {

constexpr size_t kNames = 40;
constexpr size_t kLongestName = 63;

// Commands that differ in their first argument, as the service sends them.
constexpr const char* kWithArgument[] = {
        "AT%TCHDEBUG=DELTA",       "AT%TCHDEBUG=FWVER",       "AT%TCHDEBUG=GPIO_PIN",
        "AT%TCHDEBUG=RAWDATA",     "AT%TCHDEBUG=RESET",       "AT%TCHNOTIFY=FW_UPGRADE",
        "AT%TCHNOTIFY=LPWG_SD",    "AT%TCHNOTIFY=SD",         "AT%TCHNOTIFY=PULL_SD_RESULT",
        "AT%TCHNOTIFY=SWTICH_AES", "AT%TCHNOTIFY=LPWG_NOTIFY"};

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

std::string nameOfCommand(const char* cmd) {
    std::string name(cmd, strcspn(cmd, "\r"));
    for (char& letter : name) letter = 'a' <= letter && letter <= 'z' ? letter - 32 : letter;
    const std::string first = name.substr(0, name.find(','));
    const auto end = std::end(kWithArgument);
    const bool isKnown = std::find(std::begin(kWithArgument), end, first) != end;
    return (isKnown ? first : name.substr(0, name.find('='))).substr(0, kLongestName);
}

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
}

void Statistics::countRefusal(const char* cmd, int error) {
    const LeafLock lock(mLock);
    ++mCounts.refused;
    mCounts.lastFailure = {nameOfCommand(cmd), error, monotonicMicros()};
}

void Statistics::countOrder(const char* name, bool accepted) {
    if (sIsOrderOfDetach) return;
    const LeafLock lock(mLock);
    ++mCounts.orders;
    mCounts.lastOrder = {name, accepted, monotonicMicros()};
}

Counts Statistics::take(bool reset) {
    const LeafLock lock(mLock);
    Counts taken = mCounts;
    if (reset) mCounts = keptOf(taken);
    return taken;
}

uint64_t monotonicMicros() {
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<uint64_t>(time.tv_sec) * 1'000'000 +
           static_cast<uint64_t>(time.tv_nsec) / 1'000;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
