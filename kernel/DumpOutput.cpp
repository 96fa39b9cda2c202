#include "kernel/DumpOutput.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <ctime>

#include <poll.h>
#include <unistd.h>

#include "kernel/Log.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr int kPatienceMs = 2000;

// A write does not raise SIGPIPE on this thread while this lives.
class NoPipeSignal {
  public:
    NoPipeSignal() {
        sigemptyset(&mPipe);
        sigaddset(&mPipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &mPipe, &mBefore);
    }
    ~NoPipeSignal() { pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }
    NoPipeSignal(const NoPipeSignal&) = delete;
    NoPipeSignal& operator=(const NoPipeSignal&) = delete;

    // The signal of a write that failed, if it raised one: it would come when the thread takes
    // signals again.
    void swallow() const {
        const timespec now = {};
        sigtimedwait(&mPipe, nullptr, &now);
    }

  private:
    sigset_t mPipe = {};
    sigset_t mBefore = {};
};

// Waits until a piece can be written. False, with errno set, when it takes too long or fails.
bool awaitRoom(int fd) {
    pollfd output = {fd, POLLOUT, 0};
    const int ready = poll(&output, 1, kPatienceMs);
    if (ready == 0) errno = ETIMEDOUT;
    return ready > 0 || (ready < 0 && errno == EINTR);
}

// Bytes written, 0 to try again, or negative with errno set.
ssize_t writePiece(int fd, std::string_view text) {
    if (!awaitRoom(fd)) return -1;
    const ssize_t written = write(fd, text.data(), std::min<size_t>(text.size(), PIPE_BUF));
    return written < 0 && (errno == EINTR || errno == EAGAIN) ? 0 : written;
}

}  // namespace

void writeDump(int fd, std::string_view text) {
    const NoPipeSignal noSignal;
    while (!text.empty()) {
        const ssize_t written = writePiece(fd, text);
        if (written < 0) {
            LOG_ERROR("debug: failed to write: %s", strerror(errno));
            noSignal.swallow();
            return;
        }
        text.remove_prefix(static_cast<size_t>(written));
    }
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
