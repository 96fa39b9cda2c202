// The threads that run what other processes ask for.
//
// A call belongs to a chain: the calls that wait for one another, across processes. A call that
// comes in for a chain in which a thread of this process waits is run by that thread; every other
// one by a thread of the pool.
#pragma once

#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <vector>

namespace android::hardware {

// Something to run once. It is also destroyed on the thread that ran it.
class Job {
  public:
    virtual ~Job() = default;
    virtual void run() = 0;
};

template <typename Function>
std::unique_ptr<Job> makeJob(Function function) {
    class FunctionJob : public Job {
      public:
        explicit FunctionJob(Function f) : mFunction(std::move(f)) {}
        ~FunctionJob() noexcept override = default;
        void run() override { mFunction(); }

      private:
        Function mFunction;
    };
    return std::make_unique<FunctionJob>(std::move(function));
}

// 0: none. A chain is known by the same number in all processes that take part in it.
using ChainId = uint64_t;

class RpcThreads {
  public:
    // Where one of the threads that have nothing to run may wait for what comes in, so that it can
    // run it at once, without another thread in between.
    class Sockets {
      public:
        // Waits until something comes in, or nudge(), and deals with it on this thread.
        virtual void waitOnce() = 0;
        // Ends a waitOnce(), or somebody else's waiting at the same place, who then calls
        // passNudgeOn().
        virtual void nudge() = 0;

      protected:
        ~Sockets() = default;
    };

    // Never destroyed.
    static RpcThreads& get();

    // At most `maxThreads`, one of them a thread that joins if `callerWillJoin`.
    void configure(size_t maxThreads, bool callerWillJoin);
    // Allows threads to be started, which happens when there is something to run.
    void start();
    // Makes the calling thread one of the pool. Does not return.
    [[noreturn]] void join();

    // Runs the job on a thread of the pool, in the order of these calls.
    void run(std::unique_ptr<Job> job);
    // Runs the job on the thread that waits in the chain, if there is one.
    void run(ChainId chain, std::unique_ptr<Job> job);

    // Once; the sockets live as long as the process.
    void waitAt(Sockets* sockets);
    // Called by another thread that was nudged: returns when the right one was.
    void passNudgeOn();

  private:
    friend class ChainCaller;
    // A thread that waits. Everything in it is guarded by the mutex of RpcThreads.
    struct Sleeper {
        Condition wake;
        std::deque<std::unique_ptr<Job>> jobs;
        bool finished = false;
    };

    // Returns when the sleeper was woken, or for no reason.
    void sleep(Sleeper& sleeper) REQUIRES(mMutex);
    void wakeUp(Sleeper& sleeper) REQUIRES(mMutex);
    void enqueue(std::unique_ptr<Job> job) REQUIRES(mMutex);
    Sleeper* takeIdle() REQUIRES(mMutex);
    void spawnIfNeeded() REQUIRES(mMutex);
    std::unique_ptr<Job> nextJob(Sleeper& self);
    [[noreturn]] void serve();

    Mutex mMutex;
    std::deque<std::unique_ptr<Job>> mJobs GUARDED_BY(mMutex);
    // Threads of the pool that wait for a job.
    std::vector<Sleeper*> mIdle GUARDED_BY(mMutex);
    // Callers that wait, the innermost of a chain last.
    std::map<ChainId, std::vector<Sleeper*>> mCallers GUARDED_BY(mMutex);
    bool mStarted GUARDED_BY(mMutex) = false;
    size_t mStarting GUARDED_BY(mMutex) = 0;
    size_t mSpawned GUARDED_BY(mMutex) = 0;
    size_t mMaxSpawned GUARDED_BY(mMutex) = 1;

    Sockets* mSockets GUARDED_BY(mMutex) = nullptr;
    // The one who waits at the sockets.
    Sleeper* mAtSockets GUARDED_BY(mMutex) = nullptr;
    bool mNudged GUARDED_BY(mMutex) = false;
    Condition mNudgeTaken;
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
    RpcThreads::Sleeper mSleeper;
};

}  // namespace android::hardware
