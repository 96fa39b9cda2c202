// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/ui/Companion.h"

#include <csignal>

#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "emulator/phone/Error.h"

namespace ui {

namespace {

[[noreturn]] void become(pid_t parent, bool open) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(0);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    execl("/proc/self/exe", "bivista-emulator", "ui", open ? "--open" : nullptr, nullptr);
    _exit(127);
}

}  // namespace

Companion::Companion(bool open) {
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child < 0) phone::throwErrno("cannot start the page's server");
    if (child == 0) become(parent, open);
    mProcess.reset(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
    if (mProcess.ok()) return;
    const int why = errno;
    kill(child, SIGTERM);
    errno = why;
    phone::throwErrno("cannot watch the page's server");
}

Companion::~Companion() {
    // By its descriptor: whoever reaps children may have reaped it, and its number be another's.
    syscall(SYS_pidfd_send_signal, mProcess.get(), SIGTERM, nullptr, 0);
    pollfd ended = {mProcess.get(), POLLIN, 0};
    poll(&ended, 1, -1);
}

}  // namespace ui
