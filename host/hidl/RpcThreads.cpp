// The pool, and callers that serve their own chain while they wait.
#include "RpcThreads.h"

#include <sys/random.h>

#include <atomic>
#include <thread>

#include "SignalMask.h"

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
    if (!mJobs.empty()) spawnIfNeeded();
}

void RpcThreads::join() {
    serve();
}

void RpcThreads::serve() {
    for (;;) {
        std::unique_ptr<Job> job;
        {
            AutoMutex lock(mMutex);
            ++mIdle;
            while (mJobs.empty()) mJobAdded.wait(mMutex);
            --mIdle;
            job = std::move(mJobs.front());
            mJobs.pop_front();
        }
        job->run();
    }
}

void RpcThreads::spawnIfNeeded() {
    if (!mStarted || mJobs.size() <= mIdle || mSpawned >= mMaxSpawned) return;
    ++mSpawned;
    AllSignalsBlocked blocked;
    std::thread([this] { serve(); }).detach();
}

void RpcThreads::enqueue(std::unique_ptr<Job> job) {
    mJobs.push_back(std::move(job));
    spawnIfNeeded();
    mJobAdded.signal();
}

void RpcThreads::run(std::unique_ptr<Job> job) {
    AutoMutex lock(mMutex);
    enqueue(std::move(job));
}

void RpcThreads::run(ChainId chain, std::unique_ptr<Job> job) {
    AutoMutex lock(mMutex);
    auto it = mWaiters.find(chain);
    if (it == mWaiters.end()) {
        enqueue(std::move(job));
        return;
    }
    // The innermost call is the one that the chain has come to.
    Waiter& waiter = *it->second.back();
    waiter.jobs.push_back(std::move(job));
    waiter.wake.signal();
}

ChainMember::ChainMember(ChainId chain) : mOuter(tChain) {
    tChain = chain;
}

ChainMember::~ChainMember() {
    tChain = mOuter;
}

ChainCaller::ChainCaller()
    : mThreads(RpcThreads::get()),
      mChain(tChain != 0 ? tChain : newChain()),
      mWaiter(std::make_shared<RpcThreads::Waiter>()) {
    AutoMutex lock(mThreads.mMutex);
    mThreads.mWaiters[mChain].push_back(mWaiter);
}

ChainCaller::~ChainCaller() {
    AutoMutex lock(mThreads.mMutex);
    auto it = mThreads.mWaiters.find(mChain);
    std::erase(it->second, mWaiter);
    if (it->second.empty()) mThreads.mWaiters.erase(it);
    // A peer may call and then answer without awaiting us: what is left goes to the pool.
    for (std::unique_ptr<Job>& job : mWaiter->jobs) mThreads.enqueue(std::move(job));
}

void ChainCaller::wait() {
    for (;;) {
        std::unique_ptr<Job> job;
        {
            AutoMutex lock(mThreads.mMutex);
            while (mWaiter->jobs.empty() && !mWaiter->finished) {
                mWaiter->wake.wait(mThreads.mMutex);
            }
            if (mWaiter->finished) return;
            job = std::move(mWaiter->jobs.front());
            mWaiter->jobs.pop_front();
        }
        job->run();
    }
}

void ChainCaller::finish() {
    // The caller may be gone as soon as the lock is.
    const std::shared_ptr<RpcThreads::Waiter> waiter = mWaiter;
    {
        AutoMutex lock(mThreads.mMutex);
        waiter->finished = true;
    }
    waiter->wake.signal();
}

}  // namespace android::hardware
