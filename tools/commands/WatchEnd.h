// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>

#include "tools/ExitStatus.h"

namespace bivistactl {

// Why the watch is over. Any thread sets the reason, and one thread waits for it. A signal that
// ends the program is a reason too.
class WatchEnd {
  public:
    // Blocks the signals. Construct it before any other thread, which then inherits the mask.
    WatchEnd() {
        sigemptyset(&mSignals);
        for (const int number : {SIGINT, SIGTERM, kIsSet}) sigaddset(&mSignals, number);
        pthread_sigmask(SIG_BLOCK, &mSignals, nullptr);
    }

    // The first reason counts: every event after one that could not be printed fails as well.
    void set(ExitCode code) {
        ExitCode none = EXIT_ANSWERED_OK;
        if (mCode.compare_exchange_strong(none, code)) kill(getpid(), kIsSet);
    }

    ExitCode wait() {
        int number = 0;
        sigwait(&mSignals, &number);
        return number == kIsSet ? mCode.load() : EXIT_ANSWERED_OK;
    }

  private:
    const int kIsSet = SIGRTMIN;

    sigset_t mSignals;
    std::atomic<ExitCode> mCode = EXIT_ANSWERED_OK;
};

}  // namespace bivistactl
