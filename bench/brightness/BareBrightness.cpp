// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "bench/brightness/BareBrightness.h"

#include <string>
#include <thread>

#include "bench/BareExchange.h"
#include "bench/Device.h"

namespace bench {

void BareQueue::push(int32_t level) {
    const android::AutoMutex lock(mLock);
    if (mLevels.size() >= kCapacity) mLevels.pop_front();
    mLevels.push_back(level);
    mPushed.signal();
}

int32_t BareQueue::pop() {
    const android::AutoMutex lock(mLock);
    while (mLevels.empty()) mPushed.wait(mLock);
    const int32_t level = mLevels.front();
    mLevels.pop_front();
    return level;
}

BareBrightness::BareBrightness() {
    std::thread(&BareBrightness::sendLevels, this).detach();
}

void BareBrightness::sendLevels() {
    for (;;) {
        const std::string command = "AT%DB=" + std::to_string(mQueue.pop()) + "\r";
        // A blank line and OK.
        if (!bareExchange(command.c_str(), 2)) fail("a bare exchange failed");
    }
}

}  // namespace bench
