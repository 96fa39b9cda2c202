// The event loop. No exception of kj leaves this file or CapnpTransport.cpp.
#define LOG_TAG "host-hidl"

#include "Loop.h"

#include <kj/debug.h>
#include <log/log.h>
#include <sys/eventfd.h>

#include <thread>

#include "SignalMask.h"

namespace android::hardware {

namespace {

// Sends kj's own messages to the log, and keeps it from starting addr2line for stack traces.
class LogKj : public kj::ExceptionCallback {
  public:
    void logMessage(kj::LogSeverity severity, const char* file, int line, int /*contextDepth*/,
                    kj::String&& text) override {
        if (severity >= kj::LogSeverity::ERROR) ALOGE("%s:%d: %s", file, line, text.cStr());
    }
    StackTraceMode stackTraceMode() override { return StackTraceMode::NONE; }
};

// kj ignores SIGPIPE for the whole process, but the program's choice is its own. The loop thread
// blocks the signal, so that its writes fail with EPIPE all the same.
kj::AsyncIoContext setUpIo() {
    struct sigaction pipe;
    sigaction(SIGPIPE, nullptr, &pipe);
    // Its default, SIGUSR1, belongs to the program.
    kj::UnixEventPort::setReservedSignal(SIGRTMAX);
    kj::AsyncIoContext io = kj::setupAsyncIo();
    sigaction(SIGPIPE, &pipe, nullptr);
    return io;
}

}  // namespace

Loop& Loop::get() {
    static auto* const loop = new Loop;
    return *loop;
}

Loop::Loop() : mWake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!mWake.ok()) LOG_ALWAYS_FATAL("Cannot make an eventfd: %s", strerror(errno));
    AllSignalsBlocked blocked;
    std::thread([this] { run(); }).detach();
}

void Loop::post(std::unique_ptr<Job> job) {
    bool first;
    {
        AutoMutex lock(mMutex);
        first = mPosted.empty();
        mPosted.push_back(std::move(job));
    }
    // Never read, so never full: the loop watches for edges.
    const uint64_t one = 1;
    if (first && write(mWake.get(), &one, sizeof(one)) != sizeof(one)) {
        LOG_ALWAYS_FATAL("Cannot wake the HIDL loop: %s", strerror(errno));
    }
}

void Loop::run() {
    LogKj logKj;
    kj::AsyncIoContext io = setUpIo();
    kj::TaskSet tasks(*this);
    mIo = &io;
    mTasks = &tasks;
    kj::UnixEventPort::FdObserver wake(io.unixEventPort, mWake.get(),
                                       kj::UnixEventPort::FdObserver::OBSERVE_READ);
    for (;;) {
        auto failure = kj::runCatchingExceptions([&] {
            auto woken = wake.whenBecomesReadable();
            runPosted();
            woken.wait(io.waitScope);
        });
        KJ_IF_MAYBE (exception, failure) {
            taskFailed(kj::mv(*exception));
        }
    }
}

void Loop::runPosted() {
    std::vector<std::unique_ptr<Job>> jobs;
    {
        AutoMutex lock(mMutex);
        jobs.swap(mPosted);
    }
    for (std::unique_ptr<Job>& job : jobs) {
        auto failure = kj::runCatchingExceptions([&] { job->run(); });
        KJ_IF_MAYBE (exception, failure) {
            taskFailed(kj::mv(*exception));
        }
    }
}

void Loop::taskFailed(kj::Exception&& exception) {
    // A peer that goes is no failure of ours.
    if (exception.getType() == kj::Exception::Type::DISCONNECTED) return;
    ALOGE("HIDL transport: %s", exception.getDescription().cStr());
}

}  // namespace android::hardware
