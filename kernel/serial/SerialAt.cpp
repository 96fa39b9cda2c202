// The one way to talk to the cover's microcontroller: an AT command and its answer over the tty.

#include "kernel/serial/SerialAt.h"

#include <cerrno>
#include <cstring>

#include <cutils/klog.h>
#include <fcntl.h>
#include <poll.h>
#include <strings.h>
#include <unistd.h>

#include "diagnostics/Statistics.h"
#include "kernel/Bivista.h"
#include "kernel/base/Descriptor.h"
#include "kernel/serial/AtAnswer.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

Mutex sSerialMutex;

const char* const AtCmdTimeoutException[] = {
        "AT%TCHNOTIFY=SD",
        "AT%TCHNOTIFY=LPWG_SD",
        "AT%TCHNOTIFY=PULL_SD_RESULT",
        "AT%TCHNOTIFY=FW_UPGRADE",
        nullptr,
};

namespace {

constexpr char kFunction[] = "serialAtCmd";

constexpr int kAnswerTimeoutMs = 5000;
constexpr int kNoTimeout = -1;

constexpr int kLogKernelInfo = 6;

// One line, or a piece of a longer one, and its NUL.
struct LineBuffer {
    char text[1024] = {};
    size_t count = 0;
};

bool isWellFormed(const char* cmd) {
    const size_t length = strlen(cmd);
    return length > 0 && strncasecmp(cmd, "AT", 2) == 0 && cmd[length - 1] == '\r';
}

// For "%.*s": the command without its "\r".
int shownLength(const char* cmd) {
    const size_t length = strlen(cmd);
    return length > 0 ? static_cast<int>(length - 1) : 0;
}

// Meant: the entries are beginnings, so a longer command matches too.
int answerTimeout(const char* cmd) {
    for (const char* const* entry = AtCmdTimeoutException; *entry != nullptr; ++entry) {
        if (strncasecmp(cmd, *entry, strlen(*entry)) == 0) return kNoTimeout;
    }
    return kAnswerTimeoutMs;
}

enum class Wait { kLine, kHangUp, kTimeout, kFailure };

// Waits for the next line and reads it.
Wait readLine(int fd, int timeout, LineBuffer* line) {
    pollfd port = {fd, POLLIN | POLLHUP, 0};
    const int ready = poll(&port, 1, timeout);
    if (ready < 0) {
        const ErrnoKeeper keeper;
        LOG_ERROR("%s: failed to poll: %s", kFunction, strerror(errno));
        LOG_ERROR("%s: last read buffer value: [%s]", kFunction, line->text);
        return Wait::kFailure;
    }
    if (ready == 0) return Wait::kTimeout;
    if ((port.revents & POLLHUP) != 0) {
        const ErrnoKeeper keeper;
        LOG_DEBUG("%s: POLLHUP", kFunction);
        return Wait::kHangUp;
    }
    const ssize_t count = read(fd, line->text, sizeof(line->text) - 1);
    if (count < 0) {
        const ErrnoKeeper keeper;
        LOG_ERROR("%s: failed to read: %s", kFunction, strerror(errno));
        return Wait::kFailure;
    }
    line->count = static_cast<size_t>(count);
    line->text[line->count] = '\0';
    return Wait::kLine;
}

int finishAnswer(const LineBuffer& last, AtAnswer* answer) {
    if (isRejection(last.text)) {
        LOG_ERROR("%s: Command not supported", kFunction);
        errno = EPROTONOSUPPORT;
        return -1;
    }
    return static_cast<int>(answer->finish());
}

// Logs a failure that errno names, and keeps errno.
int refuse(int error) {
    LOG_ERROR("%s: %s", kFunction, strerror(error));
    errno = error;
    return -1;
}

// As refuse(), for a command that is not sent.
int refuseUnsent(const char* cmd, int error) {
    sStatistics.countRefusal(cmd, error);
    return refuse(error);
}

}  // namespace

int Bivista::serialAtCmd(const char* cmd, char* resp, size_t respCount,
                         void (*cb)(char* line, size_t len)) {
    LOG_DEBUG("%s: resp:%p respCount:%zu cb:%p cmd:[%.*s]", kFunction, resp, respCount,
              reinterpret_cast<void*>(cb), shownLength(cmd), cmd);
    int result = -1;
    int error = 0;
    {
        const MutexLock lock(sSerialMutex, kFunction);
        result = runAtCmd(cmd, resp, respCount, cb);
        error = errno;
    }
    errno = error;
    return result;
}

int Bivista::runAtCmd(const char* cmd, char* resp, size_t respCount,
                      void (*cb)(char* line, size_t len)) {
    if (!mSerialAttached) return refuseUnsent(cmd, ENODEV);
    if (!isWellFormed(cmd)) return refuseUnsent(cmd, EINVAL);
    char path[DevicePath::kCapacity];
    mSerialDevicePath.copyTo(path);
    Descriptor port(open(path, O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!port.isOpen()) {
        const ErrnoKeeper keeper;
        sStatistics.countRefusal(cmd, errno);
        LOG_ERROR("%s: failed to open \"%s\": %s", kFunction, path, strerror(errno));
        return -1;
    }
    usbAutoSuspend(false, true);

    bool timedOut = false;
    const uint64_t start = monotonicMicros();
    const int result = exchangeAt(port.get(), cmd, resp, respCount, cb, &timedOut);
    const ErrnoKeeper keeper;
    sStatistics.countExchange(cmd, monotonicMicros() - start, result < 0 ? errno : 0);
    port.close();
    if (timedOut) {
        // Meant: the vote stays. It is reset when the tty comes back from the recovery.
        usbRecovery();
    } else {
        usbAutoSuspend(true, true);
    }
    return result;
}

int Bivista::exchangeAt(int fd, const char* cmd, char* resp, size_t respCount,
                        void (*cb)(char* line, size_t len), bool* timedOut) {
    const ssize_t written = write(fd, cmd, strlen(cmd));
    if (written < 0) {
        const ErrnoKeeper keeper;
        LOG_ERROR("%s: failed to write [%.*s]", kFunction, shownLength(cmd), cmd);
        return static_cast<int>(written);
    }
    LOG_DEBUG("%s: wr: [%.*s]", kFunction, shownLength(cmd), cmd);

    const int timeout = answerTimeout(cmd);
    AtAnswer answer(cmd, resp, respCount);
    LineBuffer line;
    for (;;) {
        switch (readLine(fd, timeout, &line)) {
            case Wait::kFailure:
                return -1;
            case Wait::kHangUp:
                // Meant: callers take a hang-up for success.
                return 1;
            case Wait::kTimeout:
                *timedOut = true;
                return refuse(ETIME);
            case Wait::kLine:
                break;
        }
        if (takeLine(&answer, line.text, line.count, cb)) return finishAnswer(line, &answer);
    }
}

// True when the line ends the command.
bool Bivista::takeLine(AtAnswer* answer, char* line, size_t count,
                       void (*cb)(char* line, size_t len)) {
    const bool inAnswer = answer->started();
    const AtAnswer::Line kind = answer->take(line, count);
    const int shown = count > 0 ? static_cast<int>(count - 1) : 0;
    if (kind == AtAnswer::Line::kStart) {
        LOG_DEBUG("%s: eh: [%.*s]", kFunction, shown, line);
        return false;
    }
    if (!inAnswer) logSerialLine(line);
    // Stray lines show in the log outputs alone.
    if (kind != AtAnswer::Line::kStray) LOG_DEBUG("%s: rd: [%.*s]", kFunction, shown, line);
    if (kind == AtAnswer::Line::kEnd) return true;
    if (inAnswer && cb != nullptr) cb(line, count);
    answer->store(line, count);
    return false;
}

void Bivista::logSerialLine(const char* line) const {
    if (mSerialLogToLogcat) LOG_INFO("%s", line);
    if (mSerialLogToKernel) klog_write(kLogKernelInfo, "<6>Bivista: %s", line);
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
