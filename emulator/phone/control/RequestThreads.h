// The threads that answer requests: as many as are needed at the same time, and no more than kMost.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include <httplib.h>

#include "emulator/phone/control/WaitingRoom.h"

namespace control {

class RequestThreads : public httplib::TaskQueue {
  public:
    // More than the waiting requests can take: some are always left for the other requests.
    static constexpr size_t kMost = WaitingRoom::kPlaces + 8;

    void enqueue(std::function<void()> task) override;
    // Waits until all tasks are done.
    void shutdown() override;

  private:
    void run();

    std::vector<std::thread> mThreads;  // touched only where enqueue() and shutdown() are called
    std::mutex mLock;                   // guards what follows
    std::condition_variable mChanged;
    std::deque<std::function<void()>> mTasks;
    size_t mIdle = 0;
    bool mEnding = false;
};

}  // namespace control
