// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Turns of the event loop. No exception of kj leaves this file or the transport's.
#define LOG_TAG "host-hidl"

#include "Loop.h"

#include <kj/debug.h>
#include <log/log.h>
#include <pthread.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <system_error>
#include <thread>

#include "SignalMask.h"

namespace android::hardware {

namespace {

// What this thread puts off in a turn.
struct Deferred {
    std::vector<std::unique_ptr<Job>> untilItsEnd;
    std::vector<std::unique_ptr<Job>> untilAfterIt;
};
// Null outside of a turn.
thread_local Deferred* tDeferred = nullptr;

// Sends kj's own messages to the log, and keeps it from starting addr2line for stack traces.
class LogKj : public kj::ExceptionCallback {
  public:
    void logMessage(kj::LogSeverity severity, const char* file, int line, int /*contextDepth*/,
                    kj::String&& text) override {
        if (severity >= kj::LogSeverity::ERROR) ALOGE("%s:%d: %s", file, line, text.cStr());
    }
    StackTraceMode stackTraceMode() override { return StackTraceMode::NONE; }
};

constexpr uint32_t kReadable = EPOLLIN | EPOLLRDHUP | EPOLLET;

// A port makes the process ignore SIGPIPE, which is not ours to decide.
class KeepSigpipe {
  public:
    KeepSigpipe() { sigaction(SIGPIPE, nullptr, &mBefore); }
    ~KeepSigpipe() { sigaction(SIGPIPE, &mBefore, nullptr); }

  private:
    struct sigaction mBefore;
};

}  // namespace

Loop& Loop::get() {
    static auto* const loop = [] {
        KeepSigpipe keep;
        try {
            return new Loop;
        } catch (const kj::Exception&) {
            throw std::system_error(errno, std::generic_category(), "Cannot wait for HIDL sockets");
        }
    }();
    return *loop;
}

Loop::Loop()
    : mSockets(epoll_create1(EPOLL_CLOEXEC)),
      mNudge(eventfd(1, EFD_CLOEXEC)),
      mEvents(mPort),
      mTasks(*this) {
    epoll_event event = {.events = kReadable, .data = {}};
    if (!mSockets.ok() || !mNudge.ok() ||
        epoll_ctl(mSockets.get(), EPOLL_CTL_ADD, mNudge.get(), &event) != 0) {
        throw std::system_error(errno, std::generic_category(), "Cannot wait for HIDL sockets");
    }
    startThread();
}

void Loop::startThread() try {
    AllSignalsBlocked blocked;
    std::thread([this] {
        pthread_setname_np(pthread_self(), "hidl-loop");
        for (;;) {
            epoll_event ready;
            if (epoll_wait(mSockets.get(), &ready, 1, -1) == 1) turn([this] { runLater(); });
        }
    }).detach();
} catch (const std::system_error& error) {
    throw std::system_error(error.code(), "Cannot start the thread of the HIDL sockets");
}

Loop::Wake::Wake(int fd) : mFd(fd) {
    epoll_event event = {.events = kReadable, .data = {}};
    KJ_SYSCALL(epoll_ctl(get().mSockets.get(), EPOLL_CTL_ADD, mFd, &event));
    ++get().mWakes;
}

Loop::Wake::~Wake() {
    epoll_ctl(get().mSockets.get(), EPOLL_CTL_DEL, mFd, nullptr);
    --get().mWakes;
}

void Loop::Wake::setForWriting(bool writing) {
    epoll_event event = {.events = writing ? kReadable | EPOLLOUT : kReadable, .data = {}};
    KJ_SYSCALL(epoll_ctl(get().mSockets.get(), EPOLL_CTL_MOD, mFd, &event));
}

kj::Promise<void> Loop::afterOthers() {
    auto later = kj::newPromiseAndFulfiller<void>();
    mLater.push_back(kj::mv(later.fulfiller));
    epoll_event event = {.events = kReadable, .data = {}};
    KJ_SYSCALL(epoll_ctl(mSockets.get(), EPOLL_CTL_MOD, mNudge.get(), &event));
    return kj::mv(later.promise);
}

void Loop::runLater() {
    for (auto& fulfiller : mLater) fulfiller->fulfill();
    mLater.clear();
}

bool Loop::isInTurn() {
    return tDeferred != nullptr;
}

void Loop::defer(std::unique_ptr<Job> job) {
    tDeferred->untilItsEnd.push_back(std::move(job));
}

void Loop::deferAfter(std::unique_ptr<Job> job) {
    tDeferred->untilAfterIt.push_back(std::move(job));
}

void Loop::turn(kj::FunctionParam<void()> body) {
    Deferred deferred;
    tDeferred = &deferred;
    lockedTurn([&] { body(); });
    tDeferred = nullptr;
    for (std::unique_ptr<Job>& job : deferred.untilAfterIt) job->run();
}

void Loop::lockedTurn(kj::FunctionParam<void()> body) {
    AutoMutex lock(mMutex);
    LogKj logKj;
    kj::WaitScope scope(mEvents);
    guard([&] { body(); });
    settle(scope);
    std::vector<std::unique_ptr<Job>>& deferred = tDeferred->untilItsEnd;
    while (!deferred.empty()) {
        std::vector<std::unique_ptr<Job>> jobs;
        jobs.swap(deferred);
        for (std::unique_ptr<Job>& job : jobs) {
            guard([&] {
                job->run();
                job = nullptr;
            });
        }
        settle(scope);
    }
}

// Runs what can be run. The port looks at some descriptors at a time, and ends when none of them
// gives anything to do: the next one may.
void Loop::settle(kj::WaitScope& scope) {
    constexpr size_t kAtATime = 16;
    for (size_t seen = 0; seen <= mWakes; seen += kAtATime) guard([&] { scope.poll(); });
}

void Loop::guard(kj::FunctionParam<void()> body) {
    auto failure = kj::runCatchingExceptions([&] { body(); });
    KJ_IF_MAYBE (exception, failure) {
        taskFailed(kj::mv(*exception));
    }
}

void Loop::taskFailed(kj::Exception&& failure) {
    // A peer that goes is no failure of ours.
    if (failure.getType() == kj::Exception::Type::DISCONNECTED) return;
    ALOGE("HIDL transport: %s", failure.getDescription().cStr());
}

}  // namespace android::hardware
