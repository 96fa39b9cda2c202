// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The clients of a recording: they call the service as recorded.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <set>
#include <string>
#include <thread>

#include <utils/Mutex.h>

#include "emulator/phone/calls/Invoke.h"
#include "emulator/replay/Script.h"

namespace replay {

class Clients {
  public:
    // Called on any thread.
    struct Listener {
        // Gets what cannot be called, one line each.
        std::function<void(const std::string&)> tell;
        // A call has ended, and firstEnd() may be another one.
        std::function<void()> ended;
    };
    // The service may take `patience` until it serves.
    Clients(std::chrono::milliseconds patience, Listener listener)
        : mPatience(patience), mListener(std::move(listener)) {}
    // Waits for the calls: the service has answered them, or has ended.
    ~Clients();
    Clients(const Clients&) = delete;
    Clients& operator=(const Clients&) = delete;

    // Begins the call, on a thread of its own: in the recording too it may have lasted until
    // another one.
    void call(const Stimulus& stimulus);
    // When the first of the calls that are under way ended, in the recording's time; Time::max()
    // when none is.
    Time firstEnd() const EXCLUDES(mLock);
    // Whether a call was to be made, and there was no service for it.
    bool wasAlone() const { return mWasAlone; }

  private:
    void carryOut(const Stimulus& stimulus);
    std::shared_ptr<calls::Caller> caller() EXCLUDES(mCallerLock);

    const std::chrono::milliseconds mPatience;
    const Listener mListener;
    android::Mutex mCallerLock;  // held while the service is waited for
    std::shared_ptr<calls::Caller> mCaller GUARDED_BY(mCallerLock);
    std::atomic<bool> mWasAlone = false;
    mutable android::Mutex mLock;
    std::multiset<Time> mEnds GUARDED_BY(mLock);  // of the calls under way
    struct Running {
        std::atomic<bool> isOver = false;
        std::thread thread;
    };
    std::list<Running> mCalls;
};

}  // namespace replay
