// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A clock that never goes back, made out of a phone's, which jumps and need not tell its year.
#pragma once

#include <chrono>
#include <string>

#include "emulator/phonelog/LogLine.h"

namespace phonelog {

class Clock {
  public:
    // The time of a line since the first one, which is 0. *jump gets what the phone's clock did, or
    // stays as it is.
    std::chrono::nanoseconds take(const LogLine& line, std::string* jump);
    // Of the first line, since 1970; a line without a zone counts as UTC, the first without a year
    // as of 2000.
    std::chrono::nanoseconds start() const { return mStart; }

  private:
    int yearOf(const LogLine& line);

    bool mHasStart = false;
    std::chrono::nanoseconds mStart{};
    std::chrono::nanoseconds mLast{};   // as the phone told it
    std::chrono::nanoseconds mShift{};  // from the phone's time since the start to ours
    int mYear = 2000;
    unsigned mMonth = 0;
};

}  // namespace phonelog
