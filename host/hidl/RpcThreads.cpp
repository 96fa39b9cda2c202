// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The pool, and callers that serve their own chain while they wait.
#include "RpcThreads.h"

#include <pthread.h>
#include <signal.h>
#include <sys/random.h>
#include <unistd.h>

#include <atomic>
#include <thread>

namespace android::hardware {

namespace {

thread_local ChainId tChain = 0;

// Unlike the numbers of other processes, with near certainty: the upper half is random.
ChainId newChain() {
    static const uint64_t process = [] {
        uint32_t random = 0;
        if (getrandom(&random, sizeof(random), 0) != sizeof(random)) random = getpid();
        return static_cast<uint64_t>(random) << 32;
    }();
    static std::atomic<uint32_t> last{0};
    ChainId chain;
    do {
        chain = process | ++last;
    } while (chain == 0);
    return chain;
}

}  // namespace

void startThread(const char* name, std::function<void()> body) {
    sigset_t blocked;
    sigset_t before;
    sigfillset(&blocked);
    for (int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
        sigdelset(&blocked, fault);
    }
    pthread_sigmask(SIG_SETMASK, &blocked, &before);
    KJ_DEFER(pthread_sigmask(SIG_SETMASK, &before, nullptr));
    std::thread([name, body = std::move(body)] {
        pthread_setname_np(pthread_self(), name);
        body();
    }).detach();
}

RpcThreads& RpcThreads::get() {
    static auto* const threads = new RpcThreads;
    return *threads;
}

void RpcThreads::configure(size_t maxThreads, bool callerWillJoin) {
    AutoMutex lock(mMutex);
    mMaxSpawned = callerWillJoin ? maxThreads - 1 : maxThreads;
}

void RpcThreads::start() {
    AutoMutex lock(mMutex);
    mStarted = true;
    spawnIfNeeded();
}

void RpcThreads::join() {
    for (;;) nextJob()();
}

Job RpcThreads::nextJob() {
    AutoMutex lock(mMutex);
    ++mIdle;
    while (mJobs.empty()) mHasJob.wait(mMutex);
    --mIdle;
    Job job = std::move(mJobs.front());
    mJobs.pop_front();
    return job;
}

void RpcThreads::spawnIfNeeded() {
    if (!mStarted || mJobs.size() <= mIdle + mStarting || mSpawned >= mMaxSpawned) return;
    startThread("hidl-rpc", [this] {
        {
            AutoMutex lock(mMutex);
            --mStarting;
        }
        join();
    });
    // Counted once it is there: the next job tries again after a failure. It waits for the lock.
    ++mSpawned;
    ++mStarting;
}

void RpcThreads::enqueue(Job job) {
    mJobs.push_back(std::move(job));
    mHasJob.signal();
    spawnIfNeeded();
}

void RpcThreads::run(Job job, ChainId chain) {
    AutoMutex lock(mMutex);
    auto it = mCallers.find(chain);
    if (it == mCallers.end()) {
        enqueue(std::move(job));
        return;
    }
    // The innermost call is the one that the chain has come to.
    Waiting& caller = *it->second.back();
    caller.jobs.push_back(std::move(job));
    caller.wake.signal();
}

ChainMember::ChainMember(ChainId chain) : mOuter(tChain) {
    tChain = chain;
}

ChainMember::~ChainMember() {
    tChain = mOuter;
}

ChainCaller::ChainCaller()
    : mThreads(RpcThreads::get()), mChain(tChain != 0 ? tChain : newChain()) {
    AutoMutex lock(mThreads.mMutex);
    mThreads.mCallers[mChain].push_back(&mWaiting);
}

ChainCaller::~ChainCaller() {
    AutoMutex lock(mThreads.mMutex);
    auto it = mThreads.mCallers.find(mChain);
    std::erase(it->second, &mWaiting);
    if (it->second.empty()) mThreads.mCallers.erase(it);
    // A peer may call and then answer without awaiting us: what is left goes to the pool.
    for (Job& job : mWaiting.jobs) mThreads.enqueue(std::move(job));
}

void ChainCaller::wait() {
    for (;;) {
        Job job;
        {
            AutoMutex lock(mThreads.mMutex);
            while (mWaiting.jobs.empty() && !mWaiting.finished) mWaiting.wake.wait(mThreads.mMutex);
            if (mWaiting.finished) return;
            job = std::move(mWaiting.jobs.front());
            mWaiting.jobs.pop_front();
        }
        job();
    }
}

void ChainCaller::finish() {
    AutoMutex lock(mThreads.mMutex);
    mWaiting.finished = true;
    mWaiting.wake.signal();
}

}  // namespace android::hardware
