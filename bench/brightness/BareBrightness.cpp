#include "bench/brightness/BareBrightness.h"

#include <string>
#include <thread>

#include "bench/BareExchange.h"
#include "bench/Device.h"

namespace bench {

void BareQueue::push(int32_t level) {
    const std::lock_guard lock(mLock);
    if (mLevels.size() >= kCapacity) mLevels.pop_front();
    mLevels.push_back(level);
    mPushed.notify_one();
}

int32_t BareQueue::pop() {
    std::unique_lock lock(mLock);
    mPushed.wait(lock, [this] { return !mLevels.empty(); });
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
