// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// How much of what was recorded the service has done again, counted by lanes: its threads run
// freely, so there is an order within a lane only.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "emulator/replay/Script.h"

namespace replay {

class Progress {
  public:
    explicit Progress(const std::vector<Deed>& deeds);

    // The service has done this, or a device has sent it.
    void see(const phone::Entry& entry);
    // So many calls on hidraw nodes have come, by their lanes, and have no entry yet.
    void setHeldCalls(std::map<std::string, size_t> counts) { mHeldCalls = std::move(counts); }

    // From now on all deeds are needed that were recorded before this time. Not decreasing.
    // `since`: from when on their waits count.
    void need(Time time, Time since = {});
    // All, but those that come when the service ends.
    void needAll(Time since = {});
    // The longest wait for one of those that were needed last, in the recording.
    Time longestWait() const { return mLongestWait; }
    bool isThere() const;
    // The last deed that is needed; the begin of the recording when there is none.
    Time lastNeeded() const { return mLastNeeded; }
    // What is missing does not come any more, and is not waited for again.
    void giveUp();
    // How often a deed was seen that is needed.
    size_t steps() const { return mSteps; }

    // Whether the recording has more such deeds than were seen.
    bool isExpected(const std::string& lane) const;

  private:
    struct Lane {
        size_t recorded = 0;
        size_t needed = 0;
        size_t seen = 0;
        size_t givenUp = 0;

        size_t missing(size_t held) const {
            const size_t there = seen + held + givenUp;
            return there < needed ? needed - there : 0;
        }
    };

    size_t heldOf(const std::string& lane) const;

    const std::vector<Deed>& mDeeds;
    std::map<std::string, Lane> mLanes;
    size_t mNext = 0;  // the first one that is not needed yet
    Time mLastNeeded{};
    Time mLongestWait{};
    std::map<std::string, size_t> mHeldCalls;
    size_t mSteps = 0;
};

}  // namespace replay
