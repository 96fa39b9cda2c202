// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "cli/Process.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <initializer_list>

namespace cli {
namespace {

void occupyStandardDescriptors() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(fd, F_GETFD) != -1) continue;
        // The lowest free number is this one. Opened for the other direction.
        open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

void heedEndingSignals() {
    sigset_t ending;
    sigemptyset(&ending);
    for (const int number : {SIGINT, SIGTERM}) {
        signal(number, SIG_DFL);
        sigaddset(&ending, number);
    }
    sigprocmask(SIG_UNBLOCK, &ending, nullptr);
}

}  // namespace

void beginProcess() {
    occupyStandardDescriptors();
    heedEndingSignals();
}

}  // namespace cli
