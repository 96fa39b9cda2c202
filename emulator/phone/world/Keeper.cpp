// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The keeper is forked from a process with threads: here stands nothing that allocates memory.
#include "emulator/phone/world/Keeper.h"

#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <android-base/unique_fd.h>

namespace phone {

using android::base::unique_fd;

namespace {

// Signals that are passed on to the program.
constexpr int kPassedOn[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2};

// The kernel sends it to a keeper whose phone is gone.
int phoneGone() {
    return SIGRTMIN;
}

sigset_t attendedSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGCHLD);
    sigaddset(&signals, phoneGone());
    for (const int number : kPassedOn) sigaddset(&signals, number);
    return signals;
}

// Reaps children; true with *status when `child` is among them.
bool reap(pid_t child, int* status) {
    bool ended = false;
    int endedStatus = 0;
    for (pid_t pid; (pid = waitpid(-1, &endedStatus, WNOHANG)) > 0;) {
        if (pid != child) continue;
        *status = endedStatus;
        ended = true;
    }
    return ended;
}

// Kills those of the listed processes ("12 345 ") whose number is whole.
void killListed(const char* list) {
    char* end = nullptr;
    for (long child; (child = strtol(list, &end, 10)) > 0 && *end == ' '; list = end + 1) {
        kill(static_cast<pid_t>(child), SIGKILL);
    }
}

[[noreturn]] void endAs(int status) {
    if (WIFSIGNALED(status)) {
        // The program has left its core already.
        const rlimit noCore = {0, 0};
        setrlimit(RLIMIT_CORE, &noCore);
        signal(WTERMSIG(status), SIG_DFL);
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        raise(WTERMSIG(status));
    }
    _exit(WEXITSTATUS(status));
}

}  // namespace

void blockAttendedSignals() {
    const sigset_t signals = attendedSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

int attend(pid_t child) {
    const sigset_t signals = attendedSignals();
    int status = 0;
    while (!reap(child, &status)) {
        siginfo_t info = {};
        const int number = sigwaitinfo(&signals, &info);
        if (number == phoneGone()) return SIGKILL;
        // What was typed at the terminal has reached the program already.
        if (number > 0 && number != SIGCHLD && info.si_code != SI_KERNEL) kill(child, number);
    }
    return status;
}

void endChildren() {
    for (;;) {
        const unique_fd list(open("/proc/thread-self/children", O_RDONLY | O_CLOEXEC));
        char text[4096] = "";
        if (!list.ok() || read(list.get(), text, sizeof(text) - 1) <= 0) return;
        killListed(text);
        if (waitpid(-1, nullptr, 0) < 0 && errno == ECHILD) return;
    }
}

void becomeKeeper(pid_t phone) {
    // A kill of all emulators by name leaves the keeper to its work.
    prctl(PR_SET_NAME, "phone-keeper");
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    prctl(PR_SET_PDEATHSIG, phoneGone());
    if (getppid() != phone) _exit(128 + SIGKILL);
}

void keep(pid_t program) {
    // A kill of the phone's process group, as by timeout(1), leaves the keeper to its work.
    setsid();
    // Its clients must find the phone's sockets closed when the phone is gone.
    close_range(0, ~0U, 0);
    const int status = attend(program);
    endChildren();
    endAs(status);
}

}  // namespace phone
