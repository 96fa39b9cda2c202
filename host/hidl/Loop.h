// Where Cap'n Proto runs: one turn at a time, on whichever thread has something for it.
#pragma once

#include <kj/async.h>
#include <kj/function.h>
#include <utils/Mutex.h>

#include <map>
#include <memory>
#include <vector>

#include "RpcThreads.h"
#include "UniqueFd.h"

namespace android::hardware {

// Everything of kj and capnp is made, used and destroyed in turns. A thread that makes or answers a
// call takes a turn itself; so does a thread that waits at the sockets for its answer or its next
// job (see RpcThreads), since each switch of threads costs more than all the rest of a call.
//
// A thread of the loop stands by: it is woken for what comes in while nobody waits at the sockets,
// and for that only. It is started when the loop is first asked for: a process that never uses HIDL
// has no such thread, and may fork.
//
// A turn never blocks, and nothing of the user's runs in one.
class Loop : private kj::TaskSet::ErrorHandler, private RpcThreads::Sockets {
  public:
    // A descriptor, and what happens when it is ready. Made and destroyed in turns.
    class Watch {
      public:
        // The descriptor is non-blocking.
        Watch(Loop& loop, UniqueFd fd);
        virtual ~Watch() noexcept(false);
        Watch(const Watch&) = delete;
        Watch& operator=(const Watch&) = delete;

      protected:
        int fd() const { return mFd.get(); }
        // In a turn, once for each time that the descriptor became readable, or what was asked for.
        // hungUp: the peer will send no more.
        virtual void ready(bool hungUp) = 0;
        // Has ready() called, after other descriptors had their chance, if it is readable now...
        void watchReading();
        // ...or writable, or becomes so. In effect until watchReading().
        void watchWriting();

      private:
        friend class Loop;
        void watch(uint32_t events);

        Loop& mLoop;
        const UniqueFd mFd;
        const uint64_t mId;
    };

    // Never destroyed. The first call makes it, and throws std::system_error when its descriptors
    // or its thread cannot be had; the next one tries again.
    static Loop& get();

    // Runs the function in a turn: at once, or, when this thread is in one, at the end of that.
    template <typename Function>
    void run(Function function) {
        if (isInTurn()) {
            defer(makeJob(std::move(function)));
        } else {
            turn(function);
        }
    }

    // Runs the function as soon as this thread is in no turn. Who is woken in a turn would only
    // wait for its end.
    template <typename Function>
    static void afterTurn(Function function) {
        if (isInTurn()) {
            deferBehind(makeJob(std::move(function)));
        } else {
            function();
        }
    }

    // In a turn: keeps the promise going; a failure is logged.
    void keep(kj::Promise<void> promise) { mTasks.add(kj::mv(promise)); }

    // Logs a failed promise, but not the loss of a peer.
    static void report(const kj::Exception& failure);

  private:
    // kj need not wait for anything itself.
    class NoPort : public kj::EventPort {
        bool wait() override { return false; }
        bool poll() override { return false; }
    };

    Loop();
    static bool isInTurn();
    static void defer(std::unique_ptr<Job> job);
    static void deferBehind(std::unique_ptr<Job> job);
    void lockedTurn(kj::FunctionParam<void()> body);
    void turn(kj::FunctionParam<void()> body);
    void guard(kj::FunctionParam<void()> body);
    void waitOnce() override;
    void nudge() override;
    // Deals with what came in; waits for it, or not at all. Whether nudge() was among it.
    bool lookAtSockets(bool wait);
    void startStandBy();
    [[noreturn]] void standBy();
    // Somebody waits at the sockets from now on, or nobody.
    void setAttended(bool attended);
    void armStandBy() REQUIRES(mAttendance);
    void tellReady(uint64_t id, bool hungUp);
    void taskFailed(kj::Exception&& exception) override;

    const UniqueFd mEpoll;
    const UniqueFd mNudge;
    // What the thread that stands by waits at: the sockets' epoll, looked at once for each arming.
    const UniqueFd mStandBy;
    Mutex mAttendance;
    bool mAttended GUARDED_BY(mAttendance) = false;
    // Held for a turn. What follows is used in turns only.
    Mutex mMutex;
    NoPort mPort;
    kj::EventLoop mEvents;
    kj::TaskSet mTasks;
    std::map<uint64_t, Watch*> mWatches;
    uint64_t mLastId = 0;
};

}  // namespace android::hardware
