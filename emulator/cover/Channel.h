// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The receiving side of the serial line: bytes cut anywhere become command lines.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

#include "emulator/cover/Types.h"

namespace cover {

// One command line, without the "\r" that ended it. Never empty.
struct CommandLine {
    std::string text;      // the first Channel::kLineLimit bytes
    bool tooLong = false;  // there were more
    Time arrival{};        // of its "\r"
};

class Channel {
  public:
    static constexpr size_t kLineLimit = 4096;
    static constexpr size_t kWaitingLimit = 64;

    void reset();

    // Returns how many lines were lost because kWaitingLimit were waiting already.
    uint64_t receive(std::string_view bytes, Time now);

    // What there is of a line that has not ended.
    const std::string& partial() const { return mPartial; }
    bool hasLine() const { return !mWaiting.empty(); }
    // hasLine() must hold.
    CommandLine takeLine();

  private:
    void append(std::string_view bytes);
    bool endLine(Time now);

    std::string mPartial;
    bool mTooLong = false;
    std::deque<CommandLine> mWaiting;
};

}  // namespace cover
