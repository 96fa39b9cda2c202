// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/StageProgram.h"

#include <cerrno>
#include <csignal>
#include <cstring>

#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "emulator/phone/Error.h"

namespace play {

namespace {

// Async-signal-safe: runs in the child of a process with threads.
[[noreturn]] void become(pid_t parent, char* const* argv, const Descriptors& descriptors,
                         const char* folder) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(0);
    // What is typed at the terminal reaches the player alone, which ends all in good order.
    setpgid(0, 0);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    const int given[] = {descriptors.in, descriptors.out, descriptors.err};
    for (int number = 0; number < 3; ++number) {
        if (given[number] >= 0) dup2(given[number], number);
    }
    if (*folder == '\0' || chdir(folder) == 0) execvp(argv[0], argv);
    const char* const why[] = {argv[0], " cannot be started: ", strerrordesc_np(errno), "\n"};
    for (const char* const text : why) {
        (void)!write(STDERR_FILENO, text, strlen(text));
    }
    _exit(127);
}

pid_t start(const std::vector<std::string>& words, const Descriptors& descriptors,
            const std::string& folder) {
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (const std::string& word : words) argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child < 0) phone::throwErrno("cannot start " + words[0]);
    if (child == 0) become(parent, argv.data(), descriptors, folder.c_str());
    return child;
}

}  // namespace

bool awaitInput(int fd, std::chrono::milliseconds limit) {
    pollfd watched = {fd, POLLIN, 0};
    return poll(&watched, 1, static_cast<int>(limit.count())) > 0;
}

StageProgram::StageProgram(const std::vector<std::string>& words, const Descriptors& descriptors,
                           const std::string& folder)
    : mPid(start(words, descriptors, folder)),
      mPidfd(static_cast<int>(syscall(SYS_pidfd_open, mPid, 0))) {
    if (mPidfd.ok()) return;
    const int why = errno;
    kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
    errno = why;
    phone::throwErrno("cannot watch " + words[0]);
}

StageProgram::~StageProgram() {
    if (mStatus) return;
    kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
}

void StageProgram::signal(int number) const {
    if (!mStatus) kill(mPid, number);
}

std::optional<int> StageProgram::wait(std::chrono::milliseconds limit) {
    if (mStatus || !awaitInput(mPidfd.get(), limit)) return mStatus;
    int status = 0;
    waitpid(mPid, &status, 0);
    mStatus = status;
    return mStatus;
}

}  // namespace play
