// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// New firmware on its way into the cover: planned by the phone's kernel, written in the loader.
#pragma once

#include <optional>
#include <string>

#include "emulator/cover/Types.h"

namespace cover {

class Upgrade {
  public:
    enum class Phase {
        None,
        Planned,  // the cover is still to come up in its loader
        Writing,
    };

    Phase phase() const { return mPhase; }
    // Meaningful unless the phase is None.
    const std::string& version() const { return mVersion; }
    // Of the firmware, written so far: 0 to 100, in steps of kStep.
    int percent() const { return mPercent; }

    // The cover is to leave for its loader at this moment.
    void plan(std::string version, Time leave);
    // The loader is up: the writing begins, and takes so long.
    void begin(Time now, Time duration);
    void reset() { *this = Upgrade(); }

    // When the cover leaves, or when the next step of the writing is done.
    std::optional<Time> due() const;
    // Takes that step and returns the percents written: 0 first, 100 at the end.
    int step();

  private:
    static constexpr int kStep = 10;

    Phase mPhase = Phase::None;
    std::string mVersion;
    Time mStart{};  // the departure when Planned, the begin when Writing
    Time mDuration{};
    int mNext = 0;
    int mPercent = 0;
};

}  // namespace cover
