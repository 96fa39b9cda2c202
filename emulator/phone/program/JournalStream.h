// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// run --journal with a file that is not a regular one, such as a FIFO or a terminal.
#pragma once

#include <memory>
#include <string>
#include <thread>

#include <android-base/unique_fd.h>
#include "emulator/phone/Journal.h"

namespace emulator {

// Carries the journal to a reader that may be slow, stop or leave. The phone never waits for the
// reader: too slow a reader gets no more, which standard error reports.
class JournalStream {
  public:
    // Opens the file; null for a missing or a regular one. Waits until a program reads a FIFO, and
    // prints a remark before that. Call it while signals still end the program. Throws phone::Error
    // when the file cannot be opened.
    static std::unique_ptr<JournalStream> openSpecial(const std::string& path);

    // Returns when the reader has everything that was written, when it takes nothing any more, or
    // when a signal such as SIGINT is pending. The journal must have ended before.
    ~JournalStream();
    JournalStream(const JournalStream&) = delete;
    JournalStream& operator=(const JournalStream&) = delete;

    // Makes the journal write to the stream, after this first line. Throws phone::Error on failure.
    void carry(phone::Journal& journal, const std::string& firstLine);

  private:
    JournalStream(std::string path, android::base::unique_fd target);

    void passOnAll();
    void take();
    void passOn();
    void giveUp(const std::string& reason);

    const std::string mPath;
    std::thread mThread;
    // Only the thread uses these once it runs.
    android::base::unique_fd mSource;   // what the journal writes; none: the journal has ended
    android::base::unique_fd mTarget;   // non-blocking; none: the reader was given up
    android::base::unique_fd mSignals;  // a signalfd
    std::string mPending;               // from mPassed on
    size_t mPassed = 0;
};

}  // namespace emulator
