// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/replay/Progress.h"

#include <algorithm>

namespace replay {

Progress::Progress(const std::vector<Deed>& deeds) : mDeeds(deeds) {
    for (const Deed& deed : deeds) ++mLanes[deed.lane].recorded;
}

void Progress::see(const phone::Entry& entry) {
    const std::string name = laneOf(entry);
    if (name.empty()) return;
    Lane& lane = mLanes[name];
    ++lane.seen;
    if (lane.seen <= lane.recorded) ++mSteps;
}

void Progress::need(Time time, Time since) {
    mLongestWait = Time();
    for (; mNext < mDeeds.size() && mDeeds[mNext].time < time; ++mNext) {
        const Deed& deed = mDeeds[mNext];
        ++mLanes[deed.lane].needed;
        mLongestWait = std::max(mLongestWait, deed.time - std::max(mLastNeeded, since));
        mLastNeeded = deed.time;
    }
}

void Progress::needAll(Time since) {
    mLongestWait = Time();
    size_t end = mDeeds.size();
    while (end > mNext && mDeeds[end - 1].isClosing) --end;
    if (end > mNext) need(mDeeds[end - 1].time + Time(1), since);
}

size_t Progress::heldOf(const std::string& lane) const {
    const auto held = mHeldCalls.find(lane);
    return held == mHeldCalls.end() ? 0 : held->second;
}

bool Progress::isThere() const {
    return std::ranges::all_of(mLanes, [this](const auto& lane) {
        return lane.second.missing(heldOf(lane.first)) == 0;
    });
}

void Progress::giveUp() {
    for (auto& [name, lane] : mLanes) lane.givenUp += lane.missing(heldOf(name));
}

bool Progress::isExpected(const std::string& lane) const {
    const auto found = mLanes.find(lane);
    return found != mLanes.end() && found->second.seen < found->second.recorded;
}

}  // namespace replay
