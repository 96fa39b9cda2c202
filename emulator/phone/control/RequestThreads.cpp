#include "emulator/phone/control/RequestThreads.h"

#include <system_error>
#include <utility>

namespace control {

void RequestThreads::enqueue(std::function<void()> task) {
    bool isShort = false;
    {
        const std::lock_guard lock(mLock);
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
        const std::lock_guard lock(mLock);
        mEnding = true;
    }
    mChanged.notify_all();
    for (std::thread& thread : mThreads) thread.join();
}

void RequestThreads::run() {
    std::unique_lock lock(mLock);
    for (;;) {
        ++mIdle;
        mChanged.wait(lock, [this] { return !mTasks.empty() || mEnding; });
        --mIdle;
        if (mTasks.empty()) return;
        const std::function<void()> task = std::move(mTasks.front());
        mTasks.pop_front();
        lock.unlock();
        task();
        lock.lock();
    }
}

}  // namespace control
