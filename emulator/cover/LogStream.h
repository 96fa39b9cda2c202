// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover's own log on the serial line: lines between replies, while the phone listens.
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <string_view>

#include "emulator/cover/Types.h"

namespace cover {

class LogStream {
  public:
    static constexpr size_t kWaitingLimit = 64;
    // Lines of an unpaced chatter come in pieces of at most this many bytes.
    static constexpr size_t kChunk = 1024;

    // Whether lines are sent at all is read from `state`, where sent ones are counted.
    explicit LogStream(State& state) : mState(state) {}

    // Sent as soon as no reply is on the line, with a line end. False when it is dropped, since the
    // phone does not listen or too many wait.
    bool add(std::string_view line, Time now);

    // From now on a line of chatter whenever the line is free, and one ahead of each reply.
    void setChatter(std::optional<Chatter> chatter, Time now);
    const std::optional<Chatter>& chatter() const { return mChatter; }
    // A reply comes next.
    void announceReply(Time now);

    // Forgets the lines that wait; the chatter goes on when the phone listens again.
    void reset() { mWaiting.clear(); }

    // Since when lines wait, if any do.
    std::optional<Time> waitingSince() const;
    bool hasWaiting() const { return !mWaiting.empty(); }
    // All of them.
    std::string takeWaiting();

    // When the next line of chatter is due, if nothing changes.
    std::optional<Time> chatterDue() const;
    // What is due of it.
    std::string takeChatter(Time now);

  private:
    std::string chatterLine();

    State& mState;
    std::deque<std::string> mWaiting;
    Time mWaitingSince{};
    std::optional<Chatter> mChatter;
    Time mChatterDue{};
    uint64_t mChatterNumber = 0;
};

}  // namespace cover
