// Turns of the event loop. No exception of kj leaves this file or CapnpTransport.cpp.
#define LOG_TAG "host-hidl"

#include "Loop.h"

#include <kj/debug.h>
#include <log/log.h>
#include <pthread.h>
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
    std::vector<std::unique_ptr<Job>> untilBehindIt;
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

constexpr uint64_t kNudgeId = 0;
constexpr uint32_t kReading = EPOLLIN | EPOLLRDHUP | EPOLLET;
constexpr uint32_t kUnattended = EPOLLIN | EPOLLONESHOT;

epoll_event eventFor(uint32_t events, uint64_t id) {
    epoll_event event = {};
    event.events = events;
    event.data.u64 = id;
    return event;
}

}  // namespace

Loop::Watch::Watch(Loop& loop, UniqueFd fd) : mLoop(loop), mFd(std::move(fd)), mId(++loop.mLastId) {
    epoll_event event = eventFor(kReading, mId);
    KJ_SYSCALL(epoll_ctl(mLoop.mEpoll.get(), EPOLL_CTL_ADD, mFd.get(), &event));
    mLoop.mWatches[mId] = this;
}

Loop::Watch::~Watch() noexcept(false) {
    epoll_ctl(mLoop.mEpoll.get(), EPOLL_CTL_DEL, mFd.get(), nullptr);
    mLoop.mWatches.erase(mId);
}

// Arming it anew gives an edge, if it is ready.
void Loop::Watch::watch(uint32_t events) {
    epoll_event event = eventFor(events, mId);
    KJ_SYSCALL(epoll_ctl(mLoop.mEpoll.get(), EPOLL_CTL_MOD, mFd.get(), &event));
}

void Loop::Watch::watchReading() {
    watch(kReading);
}

void Loop::Watch::watchWriting() {
    watch(kReading | EPOLLOUT);
}

Loop& Loop::get() {
    static auto* const loop = new Loop;
    return *loop;
}

Loop::Loop()
    : mEpoll(epoll_create1(EPOLL_CLOEXEC)),
      mNudge(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      mStandBy(epoll_create1(EPOLL_CLOEXEC)),
      mEvents(mPort),
      mTasks(*this) {
    epoll_event nudged = eventFor(EPOLLIN | EPOLLET, kNudgeId);
    epoll_event unattended = eventFor(kUnattended, 0);
    if (!mEpoll.ok() || !mNudge.ok() || !mStandBy.ok() ||
        epoll_ctl(mEpoll.get(), EPOLL_CTL_ADD, mNudge.get(), &nudged) != 0 ||
        epoll_ctl(mStandBy.get(), EPOLL_CTL_ADD, mEpoll.get(), &unattended) != 0) {
        throw std::system_error(errno, std::generic_category(), "Cannot wait for HIDL sockets");
    }
    startStandBy();
    // Only now: whoever waits at the sockets must not do so at a loop that was given up.
    RpcThreads::get().waitAt(this);
}

void Loop::startStandBy() try {
    AllSignalsBlocked blocked;
    std::thread([this] {
        pthread_setname_np(pthread_self(), "hidl-stand-by");
        standBy();
    }).detach();
} catch (const std::system_error& error) {
    throw std::system_error(error.code(), "Cannot start the thread of the HIDL sockets");
}

// Two threads that waited at the same sockets would both be woken by a message that comes in two
// pieces, for nothing.
void Loop::standBy() {
    for (;;) {
        epoll_event unattended;
        epoll_wait(mStandBy.get(), &unattended, 1, -1);
        if (lookAtSockets(false)) RpcThreads::get().passNudgeOn();
        AutoMutex lock(mAttendance);
        if (!mAttended) armStandBy();
    }
}

void Loop::setAttended(bool attended) {
    AutoMutex lock(mAttendance);
    mAttended = attended;
    armStandBy();
}

void Loop::armStandBy() {
    epoll_event event = eventFor(mAttended ? 0 : kUnattended, 0);
    if (epoll_ctl(mStandBy.get(), EPOLL_CTL_MOD, mEpoll.get(), &event) != 0) {
        LOG_ALWAYS_FATAL("Cannot wait for HIDL sockets: %s", strerror(errno));
    }
}

bool Loop::isInTurn() {
    return tDeferred != nullptr;
}

void Loop::defer(std::unique_ptr<Job> job) {
    tDeferred->untilItsEnd.push_back(std::move(job));
}

void Loop::deferBehind(std::unique_ptr<Job> job) {
    tDeferred->untilBehindIt.push_back(std::move(job));
}

void Loop::guard(kj::FunctionParam<void()> body) {
    auto failure = kj::runCatchingExceptions([&] { body(); });
    KJ_IF_MAYBE (exception, failure) {
        taskFailed(kj::mv(*exception));
    }
}

void Loop::turn(kj::FunctionParam<void()> body) {
    Deferred deferred;
    tDeferred = &deferred;
    lockedTurn([&] { body(); });
    tDeferred = nullptr;
    for (std::unique_ptr<Job>& job : deferred.untilBehindIt) job->run();
}

void Loop::lockedTurn(kj::FunctionParam<void()> body) {
    AutoMutex lock(mMutex);
    LogKj logKj;
    kj::WaitScope scope(mEvents);
    guard([&] { body(); });
    guard([&] { scope.poll(); });
    std::vector<std::unique_ptr<Job>>& deferred = tDeferred->untilItsEnd;
    while (!deferred.empty()) {
        std::vector<std::unique_ptr<Job>> jobs;
        jobs.swap(deferred);
        for (std::unique_ptr<Job>& job : jobs) {
            guard([&] { job->run(); });
            job = nullptr;
        }
        guard([&] { scope.poll(); });
    }
}

void Loop::tellReady(uint64_t id, bool hungUp) {
    // An earlier event may have ended it.
    auto it = mWatches.find(id);
    if (it != mWatches.end()) guard([&] { it->second->ready(hungUp); });
}

bool Loop::lookAtSockets(bool wait) {
    epoll_event events[16];
    const int count = epoll_wait(mEpoll.get(), events, std::size(events), wait ? -1 : 0);
    bool nudged = false;
    bool isReady = false;
    for (int i = 0; i < count; ++i) (events[i].data.u64 == kNudgeId ? nudged : isReady) = true;
    if (isReady) {
        turn([&] {
            for (int i = 0; i < count; ++i) {
                tellReady(events[i].data.u64,
                          (events[i].events & (EPOLLRDHUP | EPOLLHUP | EPOLLERR)) != 0);
            }
        });
    }
    return nudged;
}

void Loop::waitOnce() {
    setAttended(true);
    lookAtSockets(true);
    setAttended(false);
}

void Loop::nudge() {
    // Never read, so never full: edges are watched for.
    const uint64_t one = 1;
    if (write(mNudge.get(), &one, sizeof(one)) != sizeof(one)) {
        LOG_ALWAYS_FATAL("Cannot wake a HIDL thread: %s", strerror(errno));
    }
}

void Loop::taskFailed(kj::Exception&& exception) {
    report(exception);
}

void Loop::report(const kj::Exception& failure) {
    // A peer that goes is no failure of ours.
    if (failure.getType() == kj::Exception::Type::DISCONNECTED) return;
    ALOGE("HIDL transport: %s", failure.getDescription().cStr());
}

}  // namespace android::hardware
