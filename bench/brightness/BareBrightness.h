// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Brightness by hand: the least that takes levels without waiting and sends the newest to the
// cover.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>

#include <utils/Condition.h>
#include <utils/Mutex.h>

namespace bench {

// A lock, a push bounded to 20 and a signal.
class BareQueue {
  public:
    static constexpr size_t kCapacity = 20;

    void push(int32_t level) EXCLUDES(mLock);
    // Waits for a level.
    int32_t pop() EXCLUDES(mLock);

  private:
    android::Mutex mLock;
    // Not std::condition_variable_any: its own lock would slow the push down.
    android::Condition mPushed;
    std::deque<int32_t> mLevels GUARDED_BY(mLock);
};

// Such a queue, with a thread that sends each level with a bare exchange, for ever.
class BareBrightness {
  public:
    BareBrightness();

    void set(int32_t level) { mQueue.push(level); }

  private:
    [[noreturn]] void sendLevels();

    BareQueue mQueue;
};

}  // namespace bench
