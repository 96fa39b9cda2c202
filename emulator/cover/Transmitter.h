// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The sending side of the serial line: plays one reply at a time, at its pace.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "emulator/cover/Reply.h"
#include "emulator/cover/Types.h"

namespace cover {

class Transmitter {
  public:
    static constexpr size_t kFloodChunk = 4096;

    enum class Step {
        Sent,       // one piece went out
        FloodSent,  // the last piece of a flood chunk went out: let the caller make room
        Finished,   // the reply is over
        HungUp,     // the reply is over, and the line with it
    };

    // idle() must hold. Nothing is sent before `at`.
    void start(const Reply& reply, Time at);
    // Forgets the reply under way and all before it. Nothing is sent before `at`.
    void reset(Time at);

    bool idle() const { return !mBusy; }
    // Whether no reply is under way on the line: none is there, or its first byte is still to come.
    bool lineIsFree() const { return !mBusy || !mBegun; }
    // When the next step is due, or was when idle: the end of the last reply.
    Time due() const { return mDue; }
    // Makes one step, which must be due at `now`; idle() must not hold.
    Step step(Time now, std::vector<Action>& actions);

  private:
    Step finish();
    bool cut() const { return mLeftUntilHangUp == 0; }
    bool moreToCome() const;
    void refill();
    void refillWithFlood();

    bool mBusy = false;
    bool mBegun = false;
    Time mDue{};
    Time mGap{};
    std::string mPiece;  // being sent, from mPosition on
    size_t mPosition = 0;
    bool mFlooding = false;  // mPiece is a chunk of the flood
    uint64_t mFloodNumber = 0;
    uint64_t mFloodLeft = 0;
    bool mFloodForever = false;
    std::string mRest;  // after the flood
    std::optional<uint64_t> mLeftUntilHangUp;
};

}  // namespace cover
