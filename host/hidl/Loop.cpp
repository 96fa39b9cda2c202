// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Turns of the event loop. No exception of kj leaves this file or the transport's.
#define LOG_TAG "host-hidl"

#include "Loop.h"

#include <kj/debug.h>
#include <log/log.h>
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
    static auto* const loop = new Loop;
    return *loop;
}

Loop::Loop()
    : mSockets(epoll_create1(EPOLL_CLOEXEC)), mNudge(eventfd(1, EFD_CLOEXEC)), mTasks(*this) {
    if (!mSockets.ok() || !mNudge.ok() || waitAt(EPOLL_CTL_ADD, mNudge.get(), kReadable) != 0) {
        throw std::system_error(errno, std::generic_category(), "Cannot wait for HIDL sockets");
    }
    try {
        startThread("hidl-loop", [this] { serveSockets(); });
    } catch (const std::system_error& error) {
        throw std::system_error(error.code(), "Cannot start the thread of the HIDL sockets");
    }
}

int Loop::waitAt(int operation, int fd, uint32_t events) {
    epoll_event event = {.events = events, .data = {.fd = fd}};
    return epoll_ctl(mSockets.get(), operation, fd, &event);
}

void Loop::serveSockets() {
    for (;;) {
        epoll_event ready[16];
        const int count = epoll_wait(mSockets.get(), ready, std::size(ready), -1);
        if (count > 0) turn([&] { tell({ready, static_cast<size_t>(count)}); });
    }
}

void Loop::tell(kj::ArrayPtr<const epoll_event> ready) {
    for (const epoll_event& event : ready) {
        // The number may belong to another descriptor by now, whose user then tries in vain.
        auto it = mObservers.find(event.data.fd);
        if (it != mObservers.end()) it->second->tell(event.events);
    }
    for (auto& fulfiller : mLater) fulfiller->fulfill();
    mLater.clear();
}

Loop::Observer::Observer(int fd) : mFd(fd) {
    KJ_SYSCALL(get().waitAt(EPOLL_CTL_ADD, mFd, kReadable));
    get().mObservers[mFd] = this;
}

Loop::Observer::~Observer() {
    get().mObservers.erase(mFd);
    get().waitAt(EPOLL_CTL_DEL, mFd, 0);
}

kj::Promise<void> Loop::Observer::whenReadable() {
    auto readable = kj::newPromiseAndFulfiller<void>();
    mReader = kj::mv(readable.fulfiller);
    return kj::mv(readable.promise);
}

kj::Promise<void> Loop::Observer::whenWritable() {
    auto writable = kj::newPromiseAndFulfiller<void>();
    mWriter = kj::mv(writable.fulfiller);
    KJ_SYSCALL(get().waitAt(EPOLL_CTL_MOD, mFd, kReadable | EPOLLOUT));
    return writable.promise.then(
            [this] { KJ_SYSCALL(get().waitAt(EPOLL_CTL_MOD, mFd, kReadable)); });
}

void Loop::Observer::tell(uint32_t events) {
    const bool readable = (events & ~EPOLLOUT) != 0;
    const bool writable = (events & ~(EPOLLIN | EPOLLRDHUP)) != 0;
    if (readable && mReader.get() != nullptr) mReader->fulfill();
    if (writable && mWriter.get() != nullptr) mWriter->fulfill();
}

kj::Promise<void> Loop::afterOthers() {
    auto later = kj::newPromiseAndFulfiller<void>();
    mLater.push_back(kj::mv(later.fulfiller));
    KJ_SYSCALL(waitAt(EPOLL_CTL_MOD, mNudge.get(), kReadable));
    return kj::mv(later.promise);
}

bool Loop::isInTurn() {
    return tAfterTurn != nullptr;
}

void Loop::afterTurn(Job job) {
    tAfterTurn->push_back(kj::mv(job));
}

void Loop::turn(kj::FunctionParam<void()> body) {
    std::vector<Job> jobs;
    tAfterTurn = &jobs;
    {
        AutoMutex lock(mMutex);
        LogKj logKj;
        kj::WaitScope scope(mEvents);
        guard([&] { body(); });
        while (mEvents.isRunnable()) guard([&] { mEvents.run(); });
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
