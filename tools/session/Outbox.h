// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The lines that the session prints. A thread of its own writes them, so that the service never
// waits for the session's reader: what the service tells is queued, or dropped and counted.
#pragma once

#include <android-base/unique_fd.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <deque>
#include <functional>
#include <string>
#include <thread>

namespace session {

// How much may wait for the reader.
inline constexpr size_t kMostQueuedBytes = 1 << 20;

class Outbox {
  public:
    // Why no more can be written. Called on the writing thread; does not return.
    struct Ends {
        // SIGINT or SIGTERM.
        std::function<void()> bySignal;
        // The reader is gone, or the descriptor cannot be written; `error` is the errno.
        std::function<void(int error)> byOutput;
    };

    // Writes to `output`, which stays open. Blocks the two signals, so that the thread gets them:
    // construct it before any other thread.
    Outbox(int output, Ends ends);
    ~Outbox();
    Outbox(const Outbox&) = delete;
    Outbox& operator=(const Outbox&) = delete;

    // Both take a line without its line feed, and may be called by any thread.
    // A notification. Never waits. One for which there is no room is dropped; the reader is told
    // how many were, in the place where they are missing.
    void tell(std::string line);
    // An answer. Waits until there is room.
    void answer(std::string line);

    // Writes all that waits, and ends the thread. What is told later is dropped.
    void finish();

  private:
    struct Item {
        std::string line;
        // Instead of a line: so many notifications were dropped.
        size_t dropped = 0;
    };

    void push(std::string line) REQUIRES(mMutex);
    void wake() const;
    void writeLines();
    // The next line with its line feed; nothing when none waits.
    std::string take();
    void write(const std::string& line);
    // Waits until the output takes bytes, or without `isWriting` until something is to be done.
    void await(bool isWriting);

    const int mOutput;
    const Ends mEnds;
    android::base::unique_fd mSignals;
    android::base::unique_fd mWake;
    bool mIsEnding = false;  // by a signal; the writing thread's alone

    android::Mutex mMutex;
    std::deque<Item> mItems GUARDED_BY(mMutex);
    size_t mBytes GUARDED_BY(mMutex) = 0;
    bool mIsFinished GUARDED_BY(mMutex) = false;
    android::Condition mHasRoom;

    std::thread mThread;
};

}  // namespace session
