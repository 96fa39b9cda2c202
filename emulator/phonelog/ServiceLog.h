// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the service wrote into a phone's log during one life, picked out of a log of any length.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <istream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace phonelog {

// Of one life; a log that has more is refused.
inline constexpr size_t kMostLines = 1'000'000;
inline constexpr size_t kMostBytes = 256 << 20;
// Remarks on one log; further ones are left out, and long ones are cut.
inline constexpr size_t kMostRemarks = 1000;
inline constexpr size_t kLongestRemark = 400;

struct Line {
    size_t number = 0;                // in the file, from 1
    std::chrono::nanoseconds time{};  // since the life's first line
    int tid = 0;
    char priority = 'D';
    std::string text;
};

// Something to tell about a line, or about the log; number 0.
struct Remark {
    size_t line = 0;
    std::string text;
};

void add(std::vector<Remark>& remarks, size_t line, std::string text);

struct ServiceLog {
    int pid = 0;
    bool hasStart = false;             // the service starts here; else the log was rotated
    std::chrono::nanoseconds start{};  // of the first line, since 1970
    std::vector<Line> lines;
    std::vector<Remark> remarks;  // in the order of lines
    size_t fileLines = 0;
};

// No log, or one that is beyond the bounds. what() goes on after the file's name: ":LINE: what", or
// ": what" of the whole.
class NotALog : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class TooLong : public NotALog {
  public:
    TooLong()
        : NotALog(": the recording would be longer than can be replayed: give the part that "
                  "matters") {}
};

// The last life that has an attach, else the last; with a pid, the last of this process. Nothing
// when the log has no line of the service. Throws NotALog.
std::optional<ServiceLog> readServiceLog(std::istream& file, std::optional<int> pid);

}  // namespace phonelog
