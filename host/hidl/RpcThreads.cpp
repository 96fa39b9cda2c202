// The pool, and callers that serve their own chain while they wait.
#include "RpcThreads.h"

#include <pthread.h>
#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "SignalMask.h"

namespace android::hardware {

namespace {

thread_local ChainId tChain = 0;
// This thread, while it waits at the sockets and deals with what came in.
thread_local const void* tAtSockets = nullptr;

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
    spawnIfNeeded();
}

void RpcThreads::waitAt(Sockets* sockets) {
    AutoMutex lock(mMutex);
    mSockets = sockets;
}

void RpcThreads::join() {
    serve();
}

void RpcThreads::serve() {
    Sleeper self;
    for (;;) nextJob(self)->run();
}

std::unique_ptr<Job> RpcThreads::nextJob(Sleeper& self) {
    AutoMutex lock(mMutex);
    std::deque<std::unique_ptr<Job>>* jobs = &mJobs;
    if (mJobs.empty()) {
        mIdle.push_back(&self);
        while (self.jobs.empty()) sleep(self);
        jobs = &self.jobs;
    }
    std::unique_ptr<Job> job = std::move(jobs->front());
    jobs->pop_front();
    return job;
}

void RpcThreads::sleep(Sleeper& sleeper) {
    if (mSockets == nullptr || mAtSockets != nullptr) {
        sleeper.wake.wait(mMutex);
        return;
    }
    Sockets* sockets = mSockets;
    mAtSockets = &sleeper;
    tAtSockets = &sleeper;
    mMutex.unlock();
    sockets->waitOnce();
    mMutex.lock();
    tAtSockets = nullptr;
    mAtSockets = nullptr;
    if (mNudged) {
        mNudged = false;
        mNudgeTaken.signal();
    }
}

void RpcThreads::wakeUp(Sleeper& sleeper) {
    if (mAtSockets != &sleeper) {
        sleeper.wake.signal();
    } else if (tAtSockets != &sleeper) {
        mNudged = true;
        mSockets->nudge();
    }
}

void RpcThreads::passNudgeOn() {
    AutoMutex lock(mMutex);
    while (mNudged) {
        mSockets->nudge();
        mNudgeTaken.wait(mMutex);
    }
}

// This thread itself, if it may, since it need not be woken.
RpcThreads::Sleeper* RpcThreads::takeIdle() {
    if (mIdle.empty()) return nullptr;
    auto taken = std::find(mIdle.begin(), mIdle.end(), tAtSockets);
    if (taken == mIdle.end()) taken = mIdle.end() - 1;
    Sleeper* sleeper = *taken;
    mIdle.erase(taken);
    return sleeper;
}

void RpcThreads::spawnIfNeeded() {
    if (!mStarted || mJobs.size() <= mStarting || mSpawned >= mMaxSpawned) return;
    AllSignalsBlocked blocked;
    std::thread([this] {
        pthread_setname_np(pthread_self(), "hidl-rpc");
        {
            AutoMutex lock(mMutex);
            --mStarting;
        }
        serve();
    }).detach();
    // Counted once it is there: the next job tries again after a failure. It waits for the lock.
    ++mSpawned;
    ++mStarting;
}

void RpcThreads::enqueue(std::unique_ptr<Job> job) {
    Sleeper* idle = takeIdle();
    if (idle != nullptr) {
        idle->jobs.push_back(std::move(job));
        wakeUp(*idle);
    } else {
        mJobs.push_back(std::move(job));
        spawnIfNeeded();
    }
}

void RpcThreads::run(std::unique_ptr<Job> job) {
    AutoMutex lock(mMutex);
    enqueue(std::move(job));
}

void RpcThreads::run(ChainId chain, std::unique_ptr<Job> job) {
    AutoMutex lock(mMutex);
    auto it = mCallers.find(chain);
    if (it == mCallers.end()) {
        enqueue(std::move(job));
        return;
    }
    // The innermost call is the one that the chain has come to.
    Sleeper& caller = *it->second.back();
    caller.jobs.push_back(std::move(job));
    wakeUp(caller);
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
    mThreads.mCallers[mChain].push_back(&mSleeper);
}

ChainCaller::~ChainCaller() {
    AutoMutex lock(mThreads.mMutex);
    auto it = mThreads.mCallers.find(mChain);
    std::erase(it->second, &mSleeper);
    if (it->second.empty()) mThreads.mCallers.erase(it);
    // A peer may call and then answer without awaiting us: what is left goes to the pool.
    for (std::unique_ptr<Job>& job : mSleeper.jobs) mThreads.enqueue(std::move(job));
}

void ChainCaller::wait() {
    for (;;) {
        std::unique_ptr<Job> job;
        {
            AutoMutex lock(mThreads.mMutex);
            while (mSleeper.jobs.empty() && !mSleeper.finished) mThreads.sleep(mSleeper);
            if (mSleeper.finished) return;
            job = std::move(mSleeper.jobs.front());
            mSleeper.jobs.pop_front();
        }
        job->run();
    }
}

void ChainCaller::finish() {
    AutoMutex lock(mThreads.mMutex);
    mSleeper.finished = true;
    mThreads.wakeUp(mSleeper);
}

}  // namespace android::hardware
