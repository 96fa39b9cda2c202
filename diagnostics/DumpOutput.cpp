#include "diagnostics/DumpOutput.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "diagnostics/Statistics.h"
#include "kernel/base/Descriptor.h"
#include "kernel/base/Log.h"
#include "kernel/base/ThreadName.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr uint64_t kPatienceMicros = 2'000'000;
// How long a reader may take nothing before it is given up.
constexpr int kReaderSeconds = 30;

// The thread below exists.
std::atomic<bool> sWriting = false;

// A text on its way, shared by the thread that writes it and the one that waits for that.
struct Output {
    Output(int fd, std::string text)
        : target(fcntl(fd, F_DUPFD_CLOEXEC, 0)),
          ended(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
          text(std::move(text)) {}

    const Descriptor target;
    const Descriptor ended;  // written at the end, whichever it was
    const std::string text;
};

void logFailure(int error) {
    LOG_ERROR("debug: failed to write: %s", strerror(error));
}

// False when nobody has taken anything for too long.
bool awaitRoom(int fd) {
    pollfd room = {fd, POLLOUT, 0};
    int ready = 0;
    do {
        ready = poll(&room, 1, kReaderSeconds * 1000);
    } while (ready < 0 && errno == EINTR);
    return ready != 0;
}

// Writes what a descriptor with room takes without waiting. The client shares its flags, so that it
// cannot be made non-blocking; but a pipe then has room for PIPE_BUF, and a terminal for a byte.
ssize_t writePiece(int fd, std::string_view text, bool isTerminal) {
    const ssize_t sent = send(fd, text.data(), text.size(), MSG_DONTWAIT);
    if (sent >= 0 || errno != ENOTSOCK) return sent;
    return write(fd, text.data(), std::min<size_t>(text.size(), isTerminal ? 1 : PIPE_BUF));
}

// Logs why not all could be written.
void writeAll(int fd, std::string_view text) {
    struct stat file = {};
    const bool isTerminal = fstat(fd, &file) == 0 && S_ISCHR(file.st_mode);
    while (!text.empty()) {
        if (!awaitRoom(fd)) {
            LOG_ERROR("debug: nobody has read for %d s; the rest is dropped", kReaderSeconds);
            return;
        }
        const ssize_t written = writePiece(fd, text, isTerminal);
        if (written >= 0) {
            text.remove_prefix(static_cast<size_t>(written));
        } else if (errno != EAGAIN && errno != EINTR) {
            logFailure(errno);
            return;
        }
    }
}

// Its reader may have gone: the signal that tells so would end the service.
void blockPipeSignal() {
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
}

void* writeOutput(void* argument) {
    nameThread("dump");
    blockPipeSignal();
    const std::unique_ptr<std::shared_ptr<Output>> held(
            static_cast<std::shared_ptr<Output>*>(argument));
    const Output& output = **held;
    writeAll(output.target.get(), output.text);
    sWriting = false;
    eventfd_write(output.ended.get(), 1);
    return nullptr;
}

// Whether the thread has come to its end within the time that it is given.
bool awaitEnd(const Output& output) {
    const uint64_t deadline = monotonicMicros() + kPatienceMicros;
    for (;;) {
        const uint64_t now = monotonicMicros();
        const int left = now < deadline ? static_cast<int>((deadline - now + 999) / 1000) : 0;
        pollfd ended = {output.ended.get(), POLLIN, 0};
        const int ready = poll(&ended, 1, left);
        if (ready >= 0 || errno != EINTR) return ready > 0;
    }
}

// 0, or the error.
int startThread(const std::shared_ptr<Output>& output) {
    auto held = std::make_unique<std::shared_ptr<Output>>(output);
    pthread_t thread;
    const int result = pthread_create(&thread, nullptr, writeOutput, held.get());
    if (result != 0) return result;
    // The thread frees it.
    static_cast<void>(held.release());
    pthread_detach(thread);
    return 0;
}

}  // namespace

void writeDump(int fd, std::string text) {
    if (sWriting.exchange(true)) {
        LOG_ERROR("debug: nobody has read an earlier dump yet");
        return;
    }
    const auto output = std::make_shared<Output>(fd, std::move(text));
    int error = output->target.isOpen() && output->ended.isOpen() ? 0 : errno;
    if (error == 0) error = startThread(output);
    if (error != 0) {
        sWriting = false;
        logFailure(error);
    } else if (!awaitEnd(*output)) {
        LOG_ERROR("debug: nobody reads the dump");
    }
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
