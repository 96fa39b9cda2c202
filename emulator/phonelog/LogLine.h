// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// One line as `logcat -v threadtime` prints it, also with -v year, -v usec or nsec, -v zone or
// UTC, and -v uid:
//
//   08-14 09:21:07.184   731   745 D vendor.qmx.hardware.bivista@1.1-service: serialAtCmd: rd: [OK]
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string_view>

namespace phonelog {

inline constexpr std::string_view kServiceTag = "vendor.qmx.hardware.bivista@1.1-service";

struct LogLine {
    int year = 0;  // 0: not told
    unsigned month = 1;
    unsigned day = 1;
    std::chrono::nanoseconds ofDay{};
    std::chrono::minutes zone{};  // east of UTC; 0 too when it is not told
    int pid = 0;
    int tid = 0;
    char priority = 'D';
    std::string_view tag;
    std::string_view text;
};

// Nothing for a line of another shape.
std::optional<LogLine> parseLogLine(std::string_view line);

// Where a further line begins inside this one, after its own beginning; npos for none. A logger
// that is cut off in the middle merges two lines.
size_t findMergedLine(std::string_view line);

}  // namespace phonelog
