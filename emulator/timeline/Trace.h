// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The journal in the JSON trace event format of Chrome, which trace viewers open.
//
//   one object: traceEvents, displayTimeUnit, otherData
//   X  exchanges, frames, upgrades and calls, on the track (tid) of their lane; those that overlap
//      are on further tracks of the lane: on a track no slice overlaps another
//   i  events; opens, closes and modem lines are left out
//   C  counters: the brightness that the cover last took (AT%DB=), that of the sub display, the AT
//      commands that the cover has received and not answered, and whether the phone keeps the
//      cover's USB device awake (1 after "on" in its power/control, 0 after "auto")
//   M  names of process and tracks
//
// `ts` is time_us of the journal; otherData.start_wall_us is what the wall clock showed at 0.
#pragma once

#include <functional>
#include <map>
#include <string_view>
#include <vector>

#include "emulator/timeline/Filter.h"
#include "emulator/timeline/Timeline.h"

namespace timeline {

class Trace {
  public:
    // Takes the trace piece by piece, in order; may throw.
    using Sink = std::function<void(std::string_view piece)>;

    // Writes the begin. The filter is for slices and events; counters begin at its time.
    explicit Trace(Sink sink, Filter filter = {});

    // As Timeline::add(). Writes what is over.
    void add(const phone::Entry& entry);

    // Writes what is open, with "open" as its verdict, and the end.
    void end();

  private:
    struct Track {
        int64_t endUs = 0;  // of its last slice
    };

    void write(std::string_view event);
    void name(int track, const std::string& text);
    bool isTooEarly(int64_t timeUs) const;
    void count(std::string_view counter, int64_t timeUs, int64_t value);
    void writeCounter(std::string_view counter, int64_t timeUs, int64_t value);
    void countOf(const phone::Entry& entry);
    void put(const Item& item);
    // The lane's track that has room for the slice; none: too many overlap.
    int trackFor(const Item& item);

    const Sink mSink;
    const Filter mFilter;
    Timeline mTimeline;
    bool mIsFirst = true;
    std::map<uint64_t, Item> mOpen;
    std::map<Lane, std::vector<Track>> mTracks;
    std::map<std::string_view, int64_t> mCounters;  // their present values
    bool mAreCountersShown = false;
    int64_t mLastUs = 0;
    int64_t mStartWallUs = 0;
};

}  // namespace timeline
