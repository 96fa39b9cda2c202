// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/control/RequestThreads.h"

#include <system_error>
#include <utility>

namespace control {

void RequestThreads::enqueue(std::function<void()> task) {
    bool isShort = false;
    {
        const android::AutoMutex lock(mLock);
        mTasks.push_back(std::move(task));
        isShort = mTasks.size() > mIdle && mThreads.size() < kMost;
    }
    mChanged.notify_one();
    if (!isShort) return;
    try {
        mThreads.emplace_back([this] { run(); });
    } catch (const std::system_error&) {
        // The system gives no more threads: the tasks wait for the existing ones.
        if (mThreads.empty()) throw;
    }
}

void RequestThreads::shutdown() {
    {
        const android::AutoMutex lock(mLock);
        mEnding = true;
    }
    mChanged.notify_all();
    for (std::thread& thread : mThreads) thread.join();
}

void RequestThreads::run() {
    while (const std::function<void()> task = take()) task();
}

std::function<void()> RequestThreads::take() {
    const android::AutoMutex lock(mLock);
    ++mIdle;
    while (mTasks.empty() && !mEnding) mChanged.wait(mLock);
    --mIdle;
    if (mTasks.empty()) return nullptr;
    std::function<void()> task = std::move(mTasks.front());
    mTasks.pop_front();
    return task;
}

}  // namespace control
