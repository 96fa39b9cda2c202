// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Where Cap'n Proto runs: on kj's event loop, by one thread at a time.
#pragma once

#include <kj/async.h>
#include <sys/epoll.h>
#include <utils/Mutex.h>

#include <map>
#include <vector>

#include <android-base/unique_fd.h>
#include "RpcThreads.h"

namespace android::hardware {

// Everything of kj and capnp is made, used and destroyed in turns: with the loop's lock held. A
// thread that makes or answers a call takes a turn itself, and writes its message in it: each
// switch of threads costs a fifth of an empty call. A thread of the loop takes one when a socket is
// ready.
//
// The thread is started when the loop is first asked for: a process that never uses HIDL has none,
// and may fork. A turn never blocks, and nothing of the user's runs in one.
class Loop : private kj::TaskSet::ErrorHandler {
  public:
    // Never destroyed. The first call makes it, and throws std::system_error when its descriptors
    // or its thread cannot be had; the next one tries again.
    static Loop& get();

    // Runs the function in a turn: at once, or, when this thread is in one, in a later event of it.
    template <typename Function>
    void run(Function function) {
        if (isInTurn()) {
            keep(kj::evalLater(kj::mv(function)));
        } else {
            turn(function);
        }
    }

    // In a turn: runs the job after it, on this thread. Whoever is woken in a turn would only wait
    // for its end.
    static void afterTurn(Job job);

    // In a turn: keeps the promise going; a failure is logged.
    void keep(kj::Promise<void> promise) { mTasks.add(kj::mv(promise)); }

    // In a turn: done in a later one, of the loop's thread, so that a turn ends while a peer sends
    // on.
    kj::Promise<void> afterOthers();

    // Tells that a descriptor may have become ready, in a turn of the loop's thread. Whoever waits
    // has tried in vain in the same turn: nobody is told of what was ready before. Made and
    // destroyed in turns, before the descriptor is closed.
    class Observer {
      public:
        explicit Observer(int fd);
        ~Observer();
        Observer(const Observer&) = delete;
        Observer& operator=(const Observer&) = delete;
        kj::Promise<void> whenReadable();
        // Wakes the thread only while this is waited for, and not each time that a peer reads.
        kj::Promise<void> whenWritable();
        void tell(uint32_t events);

      private:
        const int mFd;
        kj::Own<kj::PromiseFulfiller<void>> mReader;
        kj::Own<kj::PromiseFulfiller<void>> mWriter;
    };

  private:
    Loop();
    static bool isInTurn();
    void turn(kj::FunctionParam<void()> body);
    void guard(kj::FunctionParam<void()> body);
    int waitAt(int operation, int fd, uint32_t events);
    [[noreturn]] void serveSockets();
    void tell(kj::ArrayPtr<const epoll_event> ready);
    void taskFailed(kj::Exception&& exception) override;

    // The sockets, which the loop's thread waits at without the lock. The loop has no
    // UnixEventPort, which would be a second epoll: the kernel tells one after the other, and a
    // thread that the first one wakes can find nothing at the second yet, and sleep for ever.
    const base::unique_fd mSockets;
    // Always readable: watching it anew wakes the loop's thread.
    const base::unique_fd mNudge;
    // Held for a turn. What follows is used in turns only.
    Mutex mMutex;
    kj::EventLoop mEvents;
    kj::TaskSet mTasks;
    // By their descriptors.
    std::map<int, Observer*> mObservers;
    std::vector<kj::Own<kj::PromiseFulfiller<void>>> mLater;
};

}  // namespace android::hardware
