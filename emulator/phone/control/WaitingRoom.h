// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Room for the requests that wait. They have places of their own, so that no other request waits
// for them.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <utility>

namespace control {

// The server answers it with 503.
class Busy : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Answered 410: the emulator ends, and with it the wait.
class Ending : public std::runtime_error {
  public:
    Ending() : std::runtime_error("the emulator ends") {}
};

class WaitingRoom {
  public:
    static constexpr int kPlaces = 64;
    // How long a request may take to notice that its client is gone.
    static constexpr std::chrono::seconds kSlice{1};

    // `wake` makes the requests that wait look whether the room is closed.
    explicit WaitingRoom(std::function<void()> wake) : mWake(std::move(wake)) {}

    // A place is taken as long as the result is kept. Throws Busy when none is free, and
    // Ending once the room is closed.
    std::shared_ptr<void> enter();

    // Lets no request in any more, and returns when all requests have left.
    void close();
    bool isClosed() const { return mClosed; }

  private:
    const std::function<void()> mWake;
    std::atomic<int> mTaken = 0;
    std::atomic<bool> mClosed = false;
};

}  // namespace control
