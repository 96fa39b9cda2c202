// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/Clock.h"

#include <algorithm>

namespace phonelog {

using std::chrono::duration_cast;
using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

namespace {

// Threads are overtaken between the time that they take and the log.
constexpr nanoseconds kOvertaking = milliseconds(100);
// A service that is silent for longer is one whose clock was set, as after a boot.
constexpr nanoseconds kLongestSilence = hours(24);

std::string secondsText(nanoseconds time) {
    const int64_t ms = duration_cast<milliseconds>(time).count();
    std::string fraction = std::to_string(ms % 1000);
    fraction.insert(0, 3 - fraction.size(), '0');
    return std::to_string(ms / 1000) + "." + fraction + " s";
}

}  // namespace

int Clock::yearOf(const LogLine& line) {
    if (line.year != 0) return line.year;
    // December, then January.
    if (line.month + 6 < mMonth) ++mYear;
    mMonth = line.month;
    return mYear;
}

nanoseconds Clock::take(const LogLine& line, std::string* jump) {
    namespace chrono = std::chrono;
    const chrono::sys_days day =
            chrono::year(yearOf(line)) / chrono::month(line.month) / chrono::day(line.day);
    const nanoseconds now = day.time_since_epoch() + line.ofDay - line.zone;
    if (!mHasStart) {
        mHasStart = true;
        mStart = std::max(now, nanoseconds::zero());
        mShift = -now;
        mLast = now;
    }
    if (now < mLast) {
        mShift += mLast - now;
        if (mLast - now > kOvertaking)
            *jump = "the phone's clock goes back by " + secondsText(mLast - now);
    } else if (now - mLast > kLongestSilence) {
        mShift -= now - mLast - seconds(1);
        *jump = "the phone's clock goes on by " + secondsText(now - mLast) + ", counted as 1 s";
    }
    mLast = now;
    return now + mShift;
}

}  // namespace phonelog
