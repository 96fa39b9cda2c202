// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/EventLoop.h"

#include <chrono>
#include <future>
#include <memory>
#include <string>

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>

#include "emulator/phone/Error.h"

namespace phone {

namespace {

// The loop whose thread this is.
thread_local const EventLoop* sRunning = nullptr;

}  // namespace

EventLoop::EventLoop() : mWake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!mWake.ok()) throwErrno("cannot make an eventfd");
}

EventLoop::~EventLoop() {
    stop();
}

cover::Time EventLoop::now() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

void EventLoop::start(Turn turn) {
    mTurn = std::move(turn);
    sigset_t all;
    sigset_t old;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &old);
    mThread = std::thread([this] { run(); });
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    pthread_setname_np(mThread.native_handle(), "emulator");
}

void EventLoop::stop() {
    if (!mThread.joinable()) return;
    {
        const android::AutoMutex lock(mLock);
        mStopping = true;
    }
    eventfd_write(mWake.get(), 1);
    mThread.join();
}

bool EventLoop::mustHandOver() const {
    return sRunning != this && mThread.joinable();
}

void EventLoop::handOver(const std::function<void()>& work) {
    // Shared: the loop may still be inside the promise when its result is already here. A failure
    // crosses over as text, since the sanitizers cannot follow exceptions from thread to thread.
    const auto done = std::make_shared<std::promise<std::optional<std::string>>>();
    std::future<std::optional<std::string>> failure = done->get_future();
    {
        const android::AutoMutex lock(mLock);
        mCalls.emplace_back([&work, done] {
            std::optional<std::string> error;
            try {
                work();
            } catch (const std::exception& failed) {
                error = failed.what();
            }
            done->set_value(std::move(error));
        });
    }
    eventfd_write(mWake.get(), 1);
    if (const std::optional<std::string> error = failure.get()) throw Error(*error);
}

void EventLoop::watch(int fd, short events, Handler handler) {
    mSources[fd] = {mNextId++, events, std::move(handler)};
}

void EventLoop::unwatch(int fd) {
    mSources.erase(fd);
}

void EventLoop::run() {
    sRunning = this;
    for (;;) {
        const std::optional<cover::Time> deadline = mTurn();
        wait(deadline);
        runCalls();
        const android::AutoMutex lock(mLock);
        if (mStopping && mCalls.empty()) return;
    }
}

void EventLoop::wait(std::optional<cover::Time> deadline) {
    std::vector<pollfd> fds = {{mWake.get(), POLLIN, 0}};
    std::vector<uint64_t> ids = {0};
    for (const auto& [fd, source] : mSources) {
        fds.push_back({fd, source.events, 0});
        ids.push_back(source.id);
    }
    timespec limit = {};
    if (deadline) {
        const cover::Time left = std::max(*deadline - now(), cover::Time::zero());
        limit.tv_sec = std::chrono::duration_cast<std::chrono::seconds>(left).count();
        limit.tv_nsec = (left % std::chrono::seconds(1)).count();
    }
    if (ppoll(fds.data(), fds.size(), deadline ? &limit : nullptr, nullptr) <= 0) return;
    for (size_t i = 1; i < fds.size(); ++i) {
        if (fds[i].revents == 0) continue;
        // A handler before may have ended this source, or put another one in its place.
        const auto source = mSources.find(fds[i].fd);
        if (source == mSources.end() || source->second.id != ids[i]) continue;
        const Handler handler = source->second.handler;
        handler(fds[i].revents);
    }
}

void EventLoop::runCalls() {
    eventfd_t count;
    eventfd_read(mWake.get(), &count);
    std::vector<std::function<void()>> calls;
    {
        const android::AutoMutex lock(mLock);
        calls.swap(mCalls);
    }
    for (const std::function<void()>& work : calls) work();
}

}  // namespace phone
