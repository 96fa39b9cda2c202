// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The clients of a recording: they call the service as recorded.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <thread>

#include <utils/Mutex.h>

#include "emulator/phone/Entry.h"
#include "emulator/phone/calls/Invoke.h"

namespace replay {

class Clients {
  public:
    // `tell` gets what cannot be called, one line each; any thread. The service may take `patience`
    // until it serves.
    Clients(std::chrono::milliseconds patience, std::function<void(const std::string&)> tell)
        : mPatience(patience), mTell(std::move(tell)) {}
    // Waits for the calls: the service has answered them, or has ended.
    ~Clients();
    Clients(const Clients&) = delete;
    Clients& operator=(const Clients&) = delete;

    // Begins the call, on a thread of its own: in the recording too it may have lasted until
    // another one. The entry outlives it.
    void call(const phone::Entry& entry);
    // Whether a call was to be made, and there was no service for it.
    bool wasAlone() const EXCLUDES(mLock);

  private:
    void carryOut(const phone::Entry& entry) EXCLUDES(mLock);
    std::shared_ptr<calls::Caller> caller() EXCLUDES(mLock);

    const std::chrono::milliseconds mPatience;
    const std::function<void(const std::string&)> mTell;
    mutable android::Mutex mLock;
    std::shared_ptr<calls::Caller> mCaller GUARDED_BY(mLock);
    bool mWasAlone GUARDED_BY(mLock) = false;
    struct Running {
        std::atomic<bool> isOver = false;
        std::thread thread;
    };
    std::list<Running> mCalls;
};

}  // namespace replay
