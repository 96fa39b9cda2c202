// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "diagnostics/DumpOutput.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <ctime>

#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "diagnostics/Statistics.h"
#include "kernel/base/Log.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr uint64_t kPatienceMicros = 2'000'000;

// Writes as much as a descriptor with room takes at once: a pipe PIPE_BUF, a terminal one byte.
ssize_t writePiece(int fd, std::string_view text, bool isTerminal) {
    const ssize_t sent = send(fd, text.data(), text.size(), MSG_DONTWAIT);
    if (sent >= 0 || errno != ENOTSOCK) return sent;
    return write(fd, text.data(), std::min<size_t>(text.size(), isTerminal ? 1 : PIPE_BUF));
}

void logFailure() {
    LOG_ERROR("debug: failed to write: %s", strerror(errno));
}

void writeAll(int fd, std::string_view text) {
    const uint64_t deadline = monotonicMicros() + kPatienceMicros;
    struct stat file = {};
    if (fstat(fd, &file) != 0) return logFailure();
    while (!text.empty()) {
        const uint64_t now = monotonicMicros();
        if (now >= deadline) {
            LOG_ERROR("debug: nobody reads the dump; the rest is dropped");
            return;
        }
        pollfd room = {fd, POLLOUT, 0};
        if (poll(&room, 1, static_cast<int>((deadline - now) / 1000 + 1)) <= 0) continue;
        const ssize_t written = writePiece(fd, text, S_ISCHR(file.st_mode));
        if (written < 0 && errno != EAGAIN && errno != EINTR) return logFailure();
        text.remove_prefix(static_cast<size_t>(std::max<ssize_t>(written, 0)));
    }
}

}  // namespace

void writeDump(int fd, std::string_view text) {
    // A reader that has gone causes SIGPIPE, which would end the service.
    sigset_t pipe, before;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, &before);
    writeAll(fd, text);
    const timespec now = {};
    sigtimedwait(&pipe, nullptr, &now);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
