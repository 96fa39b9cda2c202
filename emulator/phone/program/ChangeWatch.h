// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Tells when something has happened on the phone, with the journal's long poll.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include <android-base/unique_fd.h>

namespace emulator {

class Client;

class ChangeWatch {
  public:
    explicit ChangeWatch(std::unique_ptr<Client> client);
    ~ChangeWatch();
    ChangeWatch(const ChangeWatch&) = delete;
    ChangeWatch& operator=(const ChangeWatch&) = delete;

    // An eventfd: readable once changes are watched for, after each, and when the emulator answers
    // no more.
    int fd() const { return mChanged.get(); }
    bool hasEnded() const { return mHasEnded; }

  private:
    void run();
    // The number of the next entry after `since`, if there is one; waits for it if wanted. Throws
    // ForeignAnswer for the answer of no emulator.
    uint64_t ask(uint64_t since, uint64_t limit, bool waits);
    uint64_t findEnd();

    const std::unique_ptr<Client> mClient;
    const android::base::unique_fd mChanged;
    std::atomic<bool> mHasEnded = false;
    std::atomic<bool> mIsStopped = false;
    std::thread mThread;
};

}  // namespace emulator
