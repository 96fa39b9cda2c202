// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Signals of the process are for the program's own threads.
#pragma once

#include <pthread.h>
#include <signal.h>

namespace android::hardware {

// While it lives, the calling thread, and threads that it starts, take no signals but those that
// report a thread's own fault.
class AllSignalsBlocked {
  public:
    AllSignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        for (int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
            sigdelset(&all, fault);
        }
        pthread_sigmask(SIG_SETMASK, &all, &mBefore);
    }
    ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }
    AllSignalsBlocked(const AllSignalsBlocked&) = delete;
    AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

  private:
    sigset_t mBefore;
};

}  // namespace android::hardware
