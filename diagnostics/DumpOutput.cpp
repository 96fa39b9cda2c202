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

// The reader may have gone: the signal that says so would end the service.
class PipeSignalBlock {
  public:
    PipeSignalBlock() {
        sigaddset(&mPipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &mPipe, &mBefore);
    }
    ~PipeSignalBlock() {
        const timespec now = {};
        sigtimedwait(&mPipe, nullptr, &now);
        pthread_sigmask(SIG_SETMASK, &mBefore, nullptr);
    }
    PipeSignalBlock(const PipeSignalBlock&) = delete;
    PipeSignalBlock& operator=(const PipeSignalBlock&) = delete;

  private:
    sigset_t mPipe = {};
    sigset_t mBefore = {};
};

// False at the deadline.
bool awaitRoom(int fd, uint64_t deadline) {
    for (;;) {
        const uint64_t now = monotonicMicros();
        if (now >= deadline) return false;
        pollfd room = {fd, POLLOUT, 0};
        const int ready = poll(&room, 1, static_cast<int>((deadline - now + 999) / 1000));
        if (ready > 0 || (ready < 0 && errno != EINTR)) return true;
    }
}

// Writes what a descriptor with room takes without a wait: of a pipe PIPE_BUF, of a terminal a
// byte.
ssize_t writePiece(int fd, std::string_view text, bool isTerminal) {
    const ssize_t sent = send(fd, text.data(), text.size(), MSG_DONTWAIT);
    if (sent >= 0 || errno != ENOTSOCK) return sent;
    return write(fd, text.data(), std::min<size_t>(text.size(), isTerminal ? 1 : PIPE_BUF));
}

void logFailure() {
    LOG_ERROR("debug: failed to write: %s", strerror(errno));
}

}  // namespace

void writeDump(int fd, std::string_view text) {
    const PipeSignalBlock block;
    const uint64_t deadline = monotonicMicros() + kPatienceMicros;
    struct stat file = {};
    if (fstat(fd, &file) != 0) return logFailure();
    const bool isTerminal = S_ISCHR(file.st_mode);
    while (!text.empty()) {
        if (!awaitRoom(fd, deadline)) {
            LOG_ERROR("debug: nobody reads the dump; the rest is dropped");
            return;
        }
        const ssize_t written = writePiece(fd, text, isTerminal);
        if (written >= 0) {
            text.remove_prefix(static_cast<size_t>(written));
        } else if (errno != EAGAIN && errno != EINTR) {
            return logFailure();
        }
    }
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
