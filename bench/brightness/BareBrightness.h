// Brightness by hand: the least that takes levels without waiting and sends the newest to the
// cover.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>

namespace bench {

// A lock, a push bounded to 20 and a signal.
class BareQueue {
  public:
    static constexpr size_t kCapacity = 20;

    void push(int32_t level);
    // Waits for a level.
    int32_t pop();

  private:
    std::mutex mLock;
    std::condition_variable mPushed;
    std::deque<int32_t> mLevels;
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
