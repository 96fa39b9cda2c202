// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// SIGUSR1 stops the USB side. The signal is blocked on every thread, since its handler logs, locks,
// joins and frees. One thread does nothing but wait for the signal. Any other thread that may run
// the handler opens the signal inside a wait, and nowhere else.
#pragma once

#include <csignal>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// The signal alone.
inline sigset_t stopSignal() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    return signals;
}

// Blocks the signal on the calling thread and those that it makes from now on.
inline void blockStopSignal() {
    const sigset_t signals = stopSignal();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

// The calling thread's signal mask with the signal open: for a wait that takes a mask.
inline sigset_t stopSignalOpen() {
    sigset_t signals;
    pthread_sigmask(SIG_BLOCK, nullptr, &signals);
    sigdelset(&signals, SIGUSR1);
    return signals;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
