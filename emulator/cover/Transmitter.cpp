// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/Transmitter.h"

#include <algorithm>
#include <utility>

namespace cover {

void Transmitter::start(const Reply& reply, Time at) {
    reset(at + reply.delay);
    mBusy = true;
    mGap = reply.gap;
    mPiece = reply.before + reply.echo + reply.head;
    mFloodForever = reply.floodForever;
    mFloodLeft = reply.floodLines;
    mRest = reply.tail + reply.after;
    mLeftUntilHangUp = reply.hangUpAfter;
    if (!mFloodForever && mFloodLeft == 0) mPiece += std::exchange(mRest, {});
}

void Transmitter::reset(Time at) {
    *this = Transmitter();
    mDue = at;
}

Transmitter::Step Transmitter::step(Time now, std::vector<Action>& actions) {
    if (mPosition == mPiece.size()) refill();
    if (cut() || mPosition == mPiece.size()) return finish();

    size_t size = mGap > Time::zero() ? 1 : mPiece.size() - mPosition;
    if (mLeftUntilHangUp) {
        size = static_cast<size_t>(std::min<uint64_t>(size, *mLeftUntilHangUp));
        *mLeftUntilHangUp -= size;
    }
    mBegun = true;
    actions.push_back({.kind = Action::Kind::Send, .bytes = mPiece.substr(mPosition, size)});
    mPosition += size;

    if (moreToCome()) mDue += mGap;
    if (!mFlooding || mPosition < mPiece.size()) return Step::Sent;
    // An unpaced flood has no schedule of its own: it is as fast as the caller takes it.
    if (mGap == Time::zero()) mDue = std::max(mDue, now);
    return Step::FloodSent;
}

Transmitter::Step Transmitter::finish() {
    mBusy = false;
    return mLeftUntilHangUp ? Step::HungUp : Step::Finished;
}

bool Transmitter::moreToCome() const {
    if (cut()) return false;
    return mPosition < mPiece.size() || mFloodForever || mFloodLeft > 0 || !mRest.empty();
}

void Transmitter::refill() {
    mPosition = 0;
    mPiece.clear();
    mFlooding = mFloodForever || mFloodLeft > 0;
    if (mFlooding) {
        refillWithFlood();
    } else {
        mPiece = std::exchange(mRest, {});
    }
}

void Transmitter::refillWithFlood() {
    while (mFloodForever || mFloodLeft > 0) {
        const std::string line = "flood " + std::to_string(mFloodNumber + 1) + "\r\n";
        if (mPiece.size() + line.size() > kFloodChunk) return;
        mPiece += line;
        ++mFloodNumber;
        if (!mFloodForever) --mFloodLeft;
    }
}

}  // namespace cover
