// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The threads that answer requests: as many as are needed at the same time, and no more than kMost.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <thread>
#include <vector>

#include <httplib.h>
#include <utils/Mutex.h>

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
    void run() EXCLUDES(mLock);
    // Waits for the next task; none at the end.
    std::function<void()> take() EXCLUDES(mLock);

    std::vector<std::thread> mThreads;  // touched only where enqueue() and shutdown() are called
    android::Mutex mLock;
    std::condition_variable_any mChanged;
    std::deque<std::function<void()>> mTasks GUARDED_BY(mLock);
    size_t mIdle GUARDED_BY(mLock) = 0;
    bool mEnding GUARDED_BY(mLock) = false;
};

}  // namespace control
