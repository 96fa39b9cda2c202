// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/Upgrade.h"

#include <utility>

namespace cover {

void Upgrade::plan(std::string version, Time leave) {
    reset();
    mPhase = Phase::Planned;
    mVersion = std::move(version);
    mStart = leave;
}

void Upgrade::begin(Time now, Time duration) {
    mPhase = Phase::Writing;
    mStart = now;
    mDuration = duration;
}

std::optional<Time> Upgrade::due() const {
    if (mPhase == Phase::None) return std::nullopt;
    return mStart + mDuration * mNext / 100;
}

int Upgrade::step() {
    mPercent = mNext;
    mNext += kStep;
    return mPercent;
}

}  // namespace cover
