// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The threads that run what other processes ask for.
//
// A call belongs to a chain: the calls that wait for one another, across processes. A call that
// comes in for a chain in which a thread of this process waits is run by that thread; every other
// one by a thread of the pool.
#pragma once

#include <kj/function.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <vector>

namespace android::hardware {

// Something to run once. It is also destroyed on the thread that ran it.
using Job = kj::Function<void()>;

// A thread that takes no signals, which are for the program's own threads, but those that report a
// fault of its own. Throws std::system_error.
void startThread(const char* name, std::function<void()> body);

// 0: none. A chain is known by the same number in all processes that take part in it.
using ChainId = uint64_t;

class RpcThreads {
  public:
    // Never destroyed.
    static RpcThreads& get();

    // At most `maxThreads`, one of them a thread that joins if `callerWillJoin`.
    void configure(size_t maxThreads, bool callerWillJoin);
    // Allows threads to be started, which happens when there is something to run.
    void start();
    // Makes the calling thread one of the pool. Does not return.
    [[noreturn]] void join();

    // Runs the job on the thread that waits in the chain; when there is none, on a thread of the
    // pool, in the order of these calls.
    void run(Job job, ChainId chain = 0);

  private:
    friend class ChainCaller;
    // A caller that waits. Everything in it is guarded by the mutex of RpcThreads.
    struct Waiting {
        Condition wake;
        std::deque<Job> jobs;
        bool finished = false;
    };

    void enqueue(Job job) REQUIRES(mMutex);
    void spawnIfNeeded() REQUIRES(mMutex);
    Job nextJob();

    Mutex mMutex;
    std::deque<Job> mJobs GUARDED_BY(mMutex);
    // Threads of the pool that wait for a job.
    size_t mIdle GUARDED_BY(mMutex) = 0;
    Condition mHasJob;
    // Callers that wait, the innermost of a chain last.
    std::map<ChainId, std::vector<Waiting*>> mCallers GUARDED_BY(mMutex);
    bool mStarted GUARDED_BY(mMutex) = false;
    size_t mStarting GUARDED_BY(mMutex) = 0;
    size_t mSpawned GUARDED_BY(mMutex) = 0;
    size_t mMaxSpawned GUARDED_BY(mMutex) = 1;
};

// Makes the calling thread a member of a chain while a call is served.
class ChainMember {
  public:
    explicit ChainMember(ChainId chain);
    ~ChainMember();
    ChainMember(const ChainMember&) = delete;
    ChainMember& operator=(const ChainMember&) = delete;

  private:
    const ChainId mOuter;
};

// A call that the current thread makes, and its place in its chain.
class ChainCaller {
  public:
    // Continues the chain of the call that this thread serves, or begins a new one.
    ChainCaller();
    ~ChainCaller();
    ChainCaller(const ChainCaller&) = delete;
    ChainCaller& operator=(const ChainCaller&) = delete;

    ChainId chain() const { return mChain; }
    // Runs calls of this chain until finish() was called.
    void wait();
    // From another thread, once.
    void finish();

  private:
    RpcThreads& mThreads;
    const ChainId mChain;
    RpcThreads::Waiting mWaiting;
};

}  // namespace android::hardware
