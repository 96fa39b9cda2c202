// SIGUSR1, which stops the USB side, is blocked on every thread: its handler logs, joins and frees.
// A thread that may run the handler opens the signal inside a wait, and nowhere else.
#pragma once

#include <csignal>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Blocks the signal on the calling thread and those that it makes from now on.
inline void blockStopSignal() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
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
