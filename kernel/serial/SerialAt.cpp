// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The one way to talk to the cover's microcontroller: an AT command and its answer over the tty.

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <strings.h>
#include <unistd.h>

#include "diagnostics/Statistics.h"
#include "kernel/Bivista.h"
#include "kernel/base/CommandName.h"
#include "kernel/base/Descriptor.h"
#include "kernel/base/TraceSlice.h"
#include "kernel/serial/AtAnswer.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

// Beginnings of the commands whose answer is awaited without a time limit.
const char* const AtCmdTimeoutException[] = {
        "AT%TCHNOTIFY=SD",
        "AT%TCHNOTIFY=LPWG_SD",
        "AT%TCHNOTIFY=PULL_SD_RESULT",
        "AT%TCHNOTIFY=FW_UPGRADE",
        nullptr,
};

constexpr char kFunction[] = "serialAtCmd";

constexpr int kAnswerTimeoutMs = 5000;
constexpr int kNoTimeout = -1;

struct Command {
    const char* cmd;
    char* resp;
    size_t respCount;
    AtLineCallback cb;
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

int answerTimeout(const char* cmd) {
    for (const char* const* entry = AtCmdTimeoutException; *entry != nullptr; ++entry) {
        // Meant: quirk timeout-by-beginning.
        if (strncasecmp(cmd, *entry, strlen(*entry)) == 0) return kNoTimeout;
    }
    return kAnswerTimeoutMs;
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

// One command and its answer over the open port.
class Exchange {
  public:
    Exchange(const SerialLink& link, int port, const Command& command)
        : mLink(link),
          mPort(port),
          mCommand(command),
          mAnswer(command.cmd, command.resp, command.respCount) {}

    // As serialAtCmd.
    int run();
    bool timedOut() const { return mTimedOut; }

  private:
    enum class Wait { kLine, kHangUp, kTimeout, kFailure };

    Wait readLine(int timeout);
    bool takeLine();
    int finish();

    const SerialLink& mLink;
    const int mPort;
    const Command& mCommand;
    AtAnswer mAnswer;
    bool mTimedOut = false;
    // The last line, or a piece of a longer one, and its NUL.
    char mLine[1024] = {};
    size_t mCount = 0;
};

int Exchange::run() {
    const char* const cmd = mCommand.cmd;
    const ssize_t written = write(mPort, cmd, strlen(cmd));
    if (written < 0) {
        const ErrnoKeeper keeper;
        LOG_ERROR("%s: failed to write [%.*s]", kFunction, shownLength(cmd), cmd);
        return static_cast<int>(written);
    }
    LOG_DEBUG("%s: wr: [%.*s]", kFunction, shownLength(cmd), cmd);
    const int timeout = answerTimeout(cmd);
    for (;;) {
        switch (readLine(timeout)) {
            case Wait::kFailure:
                return -1;
            case Wait::kHangUp:
                // Meant: quirk hang-up-is-success.
                return 1;
            case Wait::kTimeout:
                mTimedOut = true;
                return refuse(ETIME);
            case Wait::kLine:
                break;
        }
        if (takeLine()) return finish();
    }
}

// Waits for the next line and reads it.
Exchange::Wait Exchange::readLine(int timeout) {
    pollfd port = {mPort, POLLIN | POLLHUP, 0};
    const int ready = poll(&port, 1, timeout);
    if (ready < 0) {
        const ErrnoKeeper keeper;
        LOG_ERROR("%s: failed to poll: %s", kFunction, strerror(errno));
        LOG_ERROR("%s: last read buffer value: [%s]", kFunction, mLine);
        return Wait::kFailure;
    }
    if (ready == 0) return Wait::kTimeout;
    if ((port.revents & POLLHUP) != 0) {
        const ErrnoKeeper keeper;
        LOG_DEBUG("%s: POLLHUP", kFunction);
        return Wait::kHangUp;
    }
    const ssize_t count = read(mPort, mLine, sizeof(mLine) - 1);
    if (count < 0) {
        const ErrnoKeeper keeper;
        LOG_ERROR("%s: failed to read: %s", kFunction, strerror(errno));
        return Wait::kFailure;
    }
    mCount = static_cast<size_t>(count);
    mLine[mCount] = '\0';
    return Wait::kLine;
}

// True when the line ends the command.
bool Exchange::takeLine() {
    const bool inAnswer = mAnswer.started();
    const AtAnswer::Line kind = mAnswer.take(mLine, mCount);
    const int shown = mCount > 0 ? static_cast<int>(mCount - 1) : 0;
    if (kind == AtAnswer::Line::kStart) {
        LOG_DEBUG("%s: eh: [%.*s]", kFunction, shown, mLine);
        return false;
    }
    if (!inAnswer) mLink.logLine(mLine);
    // A stray line was just logged as one of the cover's own.
    if (kind != AtAnswer::Line::kStray) LOG_DEBUG("%s: rd: [%.*s]", kFunction, shown, mLine);
    if (kind == AtAnswer::Line::kEnd) return true;
    if (inAnswer && mCommand.cb != nullptr) mCommand.cb(mLine, mCount);
    mAnswer.store(mLine, mCount);
    return false;
}

int Exchange::finish() {
    if (isRejection(mLine)) {
        LOG_ERROR("%s: Command not supported", kFunction);
        errno = EPROTONOSUPPORT;
        return -1;
    }
    return static_cast<int>(mAnswer.finish());
}

int runAtCmd(Bivista& service, const SerialLink& link, const AutoSuspendVotes& votes,
             const Command& command) REQUIRES(sSerialMutex) {
    const char* const cmd = command.cmd;
    if (!link.isAttached()) return refuseUnsent(cmd, ENODEV);
    if (!isWellFormed(cmd)) return refuseUnsent(cmd, EINVAL);
    Descriptor port(link.mSerialDevicePath.open(O_RDWR | O_NOCTTY, kFunction));
    if (!port.isOpen()) {
        const ErrnoKeeper keeper;
        sStatistics.countRefusal(cmd, errno);
        return -1;
    }
    const TraceSlice slice([cmd] { return nameOfCommand(cmd); });
    service.usbAutoSuspend(false, true);

    const uint64_t start = monotonicMicros();
    Exchange exchange(link, port.get(), command);
    const int result = exchange.run();
    const ErrnoKeeper keeper;
    sStatistics.countExchange(cmd, monotonicMicros() - start, result < 0 ? errno : 0);
    port.close();
    if (exchange.timedOut()) {
        // Meant: the vote stays, so that the link is awake for the recovery. The tty that comes
        // back after the recovery resets the votes.
        sStatistics.record(EventKind::kVotes, "leaked", {votes.mUsbAutoSuspendDisableVote.load()});
        service.usbRecovery();
    } else {
        service.usbAutoSuspend(true, true);
    }
    return result;
}

}  // namespace

int Bivista::serialAtCmd(const char* cmd, char* resp, size_t respCount, AtLineCallback cb) {
    LOG_DEBUG("%s: resp:%p respCount:%zu cb:%p cmd:[%.*s]", kFunction, resp, respCount,
              reinterpret_cast<void*>(cb), shownLength(cmd), cmd);
    int result = -1;
    int error = 0;
    {
        const MutexLock lock(sSerialMutex, kFunction);
        result = runAtCmd(*this, mSerialLink, mAutoSuspendVotes, {cmd, resp, respCount, cb});
        error = errno;
    }
    errno = error;
    return result;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
