// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/world/Program.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "emulator/phone/Error.h"
#include "emulator/phone/world/Keeper.h"
#include "emulator/phone/world/SystemCalls.h"

namespace phone {

using android::base::unique_fd;

namespace {

// Set for what is supervised.
constexpr char kSupervisedVariable[] = "BIVISTA_SUPERVISED";

[[noreturn]] void throwSupervisedAlready() {
    throw Error("this process is supervised already: start it outside of the emulated phone");
}

[[noreturn]] void throwSupervision() {
    if (errno == EBUSY) throwSupervisedAlready();
    throwErrno(
            "cannot supervise the phone's software (it takes Linux 5.19 and seccomp user "
            "notification)");
}

// What a child reports before it runs the program: the listener beside it, or an error.
struct Report {
    int error = 0;
    pid_t sender = -1;
};

union ControlBuffer {
    char bytes[CMSG_SPACE(sizeof(int))];
    cmsghdr header;
};

msghdr makeMessage(iovec* data, ControlBuffer* control) {
    msghdr message = {};
    message.msg_iov = data;
    message.msg_iovlen = 1;
    message.msg_control = control->bytes;
    message.msg_controllen = sizeof(control->bytes);
    return message;
}

// Async-signal-safe: runs in the child of a process with threads.
void sendReport(int socket, int error, int listener) {
    Report report = {error, getpid()};
    iovec data = {&report, sizeof(report)};
    ControlBuffer control = {};
    msghdr message = makeMessage(&data, &control);
    if (listener < 0) {
        message.msg_controllen = 0;
    } else {
        cmsghdr* header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof(int));
        memcpy(CMSG_DATA(header), &listener, sizeof(listener));
    }
    sendmsg(socket, &message, MSG_NOSIGNAL);
}

// False when the other side is gone.
bool receiveReport(int socket, Report* report, unique_fd* listener) {
    iovec data = {report, sizeof(*report)};
    ControlBuffer control = {};
    msghdr message = makeMessage(&data, &control);
    if (recvmsg(socket, &message, MSG_CMSG_CLOEXEC) != sizeof(*report)) return false;
    if (const cmsghdr* header = CMSG_FIRSTHDR(&message)) {
        int fd = -1;
        memcpy(&fd, CMSG_DATA(header), sizeof(fd));
        listener->reset(fd);
    }
    return true;
}

// An empty filter supervises nothing.
[[noreturn]] void runProgram(int socket, const std::vector<sock_filter>& filter,
                             char* const* argv) {
    // A keeper that is killed takes it along.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    const bool isSupervised = !filter.empty();
    const int listener = isSupervised ? installFilter(filter) : -1;
    const bool failed = isSupervised && listener < 0;
    sendReport(socket, failed ? errno : 0, listener);
    if (!failed) {
        if (isSupervised) close(listener);
        execvp(argv[0], argv);
        sendReport(socket, errno, -1);
    }
    _exit(127);
}

[[noreturn]] void runKeeper(pid_t phone, int socket, const std::vector<sock_filter>& filter,
                            char* const* argv) {
    becomeKeeper(phone);
    const pid_t program = fork();
    if (program == 0) runProgram(socket, filter, argv);
    if (program < 0) {
        sendReport(socket, errno, -1);
        _exit(127);
    }
    keep(program);
}

}  // namespace

void refuseSupervised() {
    if (getenv(kSupervisedVariable) != nullptr) throwSupervisedAlready();
}

unique_fd superviseCaller() {
    unique_fd listener(installFilter(makeFilter(findCLibrary(), handledCalls())));
    if (!listener.ok()) throwSupervision();
    setenv(kSupervisedVariable, "1", 1);
    return listener;
}

Program::Program(const std::vector<std::string>& command, Supervision supervision) {
    if (command.empty()) throw Error("no program to run was named");
    unique_fd ours;
    unique_fd theirs;
    if (!android::base::Socketpair(SOCK_SEQPACKET | SOCK_CLOEXEC, &ours, &theirs)) {
        throwErrno("cannot make a socket pair");
    }
    std::vector<char*> argv;
    argv.reserve(command.size() + 1);
    for (const std::string& argument : command) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    std::vector<sock_filter> filter;
    if (supervision == Supervision::Full) {
        filter = makeFilter({}, handledCalls());
        setenv(kSupervisedVariable, "1", 1);
    }

    const pid_t self = getpid();
    mKeeper = fork();
    if (mKeeper < 0) throwErrno("cannot start a process");
    if (mKeeper == 0) runKeeper(self, theirs.get(), filter, argv.data());
    theirs.reset();

    Report report;
    const bool told = receiveReport(ours.get(), &report, &mListener);
    // Silence after the first report: the program runs.
    if (told && report.error == 0 && !receiveReport(ours.get(), &report, &mListener)) {
        // glibc's own function has C++ linkage in its header.
        mProcess.reset(static_cast<int>(syscall(SYS_pidfd_open, report.sender, 0)));
        return;
    }
    waitpid(mKeeper, nullptr, 0);
    errno = told ? report.error : ECHILD;
    if (errno == EBUSY) throwSupervision();
    throwErrno("cannot run " + command[0]);
}

void signalProgram(const unique_fd& process, int number) {
    pollfd state = {process.get(), POLLIN, 0};
    // It is readable when the process has ended, waited for or not.
    if (!process.ok() || poll(&state, 1, 0) != 0) throw Error("no program runs on this phone");
    if (syscall(SYS_pidfd_send_signal, process.get(), number, nullptr, 0) != 0) {
        throwErrno("cannot signal the phone's program");
    }
}

}  // namespace phone
