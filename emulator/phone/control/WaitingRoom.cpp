// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/control/WaitingRoom.h"

#include <string>

namespace control {

std::shared_ptr<void> WaitingRoom::enter() {
    const auto leave = [this](void*) {
        --mTaken;
        mTaken.notify_all();
    };
    for (int taken = mTaken; taken < kPlaces;) {
        if (!mTaken.compare_exchange_weak(taken, taken + 1)) continue;
        std::shared_ptr<void> place(this, leave);
        if (mClosed) throw Ending();
        return place;
    }
    throw Busy(std::to_string(kPlaces) +
               " requests wait already, such as \"ctl journal --follow\": end one of them");
}

void WaitingRoom::close() {
    mClosed = true;
    mWake();
    for (int taken; (taken = mTaken) > 0;) mTaken.wait(taken);
}

}  // namespace control
