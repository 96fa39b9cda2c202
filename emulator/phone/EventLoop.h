// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// One thread that waits for descriptors, deadlines and calls from other threads. Idle, it sleeps.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <thread>
#include <type_traits>
#include <vector>

#include <android-base/unique_fd.h>
#include <utils/Mutex.h>

#include "emulator/cover/Types.h"

namespace phone {

class EventLoop {
  public:
    using Handler = std::function<void(short revents)>;
    // Called after everything that happened; returns when it wants to be called next at the latest.
    using Turn = std::function<std::optional<cover::Time>()>;

    EventLoop();
    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    // The thread blocks all signals.
    void start(Turn turn);
    // Ends and joins the thread; calls that wait are carried out first.
    void stop() EXCLUDES(mLock);

    // Carries out `work` on the loop's thread and returns its result; when it throws, its text is
    // thrown here as phone::Error. Any thread. On the loop's own, and while the loop is not
    // running, it is done on the spot.
    template <typename Work>
    std::invoke_result_t<const Work&> call(const Work& work) {
        if (!mustHandOver()) return work();
        if constexpr (std::is_void_v<std::invoke_result_t<const Work&>>) {
            handOver(work);
        } else {
            std::optional<std::invoke_result_t<const Work&>> result;
            handOver([&] { result.emplace(work()); });
            return *std::move(result);
        }
    }

    // Loop's thread only. A descriptor has one handler, which may watch and unwatch at will.
    // `events` as for poll; with none of them the handler gets only errors and hang-ups.
    void watch(int fd, short events, Handler handler);
    void unwatch(int fd);

    static cover::Time now();

  private:
    struct Source {
        uint64_t id = 0;
        short events = 0;
        Handler handler;
    };

    bool mustHandOver() const;
    void handOver(const std::function<void()>& work) EXCLUDES(mLock);
    void run() EXCLUDES(mLock);
    void wait(std::optional<cover::Time> deadline);
    void runCalls() EXCLUDES(mLock);

    Turn mTurn;
    std::map<int, Source> mSources;  // loop's thread only
    uint64_t mNextId = 0;
    android::base::unique_fd mWake;  // eventfd
    android::Mutex mLock;
    std::vector<std::function<void()>> mCalls GUARDED_BY(mLock);
    bool mStopping GUARDED_BY(mLock) = false;
    std::thread mThread;
};

}  // namespace phone
