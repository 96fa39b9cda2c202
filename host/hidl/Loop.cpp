// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Turns of the event loop. No exception of kj leaves this file or the transport's.
#define LOG_TAG "host-hidl"

#include "Loop.h"

#include <kj/debug.h>
#include <log/log.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <system_error>

namespace android::hardware {

namespace {

// What this thread does after its turn; null outside of one.
thread_local std::vector<Job>* tAfterTurn = nullptr;

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

}  // namespace

Loop& Loop::get() {
    static auto* const loop = [] {
        // A port makes the process ignore SIGPIPE, which is not ours to decide.
        struct sigaction before;
        sigaction(SIGPIPE, nullptr, &before);
        KJ_DEFER(sigaction(SIGPIPE, &before, nullptr));
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
    waitAt(EPOLL_CTL_ADD, mNudge.get(), kReadable);
    try {
        startThread("hidl-loop", [this] { serveSockets(); });
    } catch (const std::system_error& error) {
        throw std::system_error(error.code(), "Cannot start the thread of the HIDL sockets");
    }
}

void Loop::waitAt(int operation, int fd, uint32_t events) {
    epoll_event event = {.events = events, .data = {}};
    KJ_SYSCALL(epoll_ctl(mSockets.get(), operation, fd, &event));
}

void Loop::serveSockets() {
    for (;;) {
        epoll_event ready;
        if (epoll_wait(mSockets.get(), &ready, 1, -1) == 1) turn([this] { runLater(); });
    }
}

Loop::Observer::Observer(int fd) : FdObserver(get().mPort, fd, OBSERVE_READ_WRITE), mFd(fd) {
    get().waitAt(EPOLL_CTL_ADD, mFd, kReadable);
    ++get().mObservers;
}

Loop::Observer::~Observer() {
    epoll_ctl(get().mSockets.get(), EPOLL_CTL_DEL, mFd, nullptr);
    --get().mObservers;
}

kj::Promise<void> Loop::Observer::whenWritable() {
    auto writable = whenBecomesWritable();
    get().waitAt(EPOLL_CTL_MOD, mFd, kReadable | EPOLLOUT);
    return writable.then([this] { get().waitAt(EPOLL_CTL_MOD, mFd, kReadable); });
}

kj::Promise<void> Loop::afterOthers() {
    auto later = kj::newPromiseAndFulfiller<void>();
    mLater.push_back(kj::mv(later.fulfiller));
    waitAt(EPOLL_CTL_MOD, mNudge.get(), kReadable);
    return kj::mv(later.promise);
}

void Loop::runLater() {
    for (auto& fulfiller : mLater) fulfiller->fulfill();
    mLater.clear();
}

bool Loop::isInTurn() {
    return tAfterTurn != nullptr;
}

void Loop::afterTurn(Job job) {
    tAfterTurn->push_back(kj::mv(job));
}

void Loop::turn(kj::FunctionParam<void()> body) {
    // The port looks at so many descriptors at a time. A poll ends when none of them gives anything
    // to do: the next one may.
    constexpr size_t kAtATime = 16;
    std::vector<Job> jobs;
    tAfterTurn = &jobs;
    {
        AutoMutex lock(mMutex);
        LogKj logKj;
        kj::WaitScope scope(mEvents);
        guard([&] { body(); });
        for (size_t seen = 0; seen <= mObservers; seen += kAtATime) guard([&] { scope.poll(); });
    }
    tAfterTurn = nullptr;
    for (Job& job : jobs) job();
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
