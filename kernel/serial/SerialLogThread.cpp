// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The thread that copies the cover's own log while the phone's display is on.

#include <cerrno>
#include <cstring>

#include <cutils/properties.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "kernel/Bivista.h"
#include "kernel/base/Descriptor.h"
#include "kernel/base/KernelPaths.h"
#include "kernel/base/ThreadName.h"
#include "kernel/serial/SerialLog.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr char kFunction[] = "serialLogThread";

constexpr char kChipProperty[] = "ro.vendor.qmx.chip.vendor";

constexpr char kDisplayWakeLock[] = "PowerManagerService.Display";

constexpr int kMtkTimeoutMs = 1000;
constexpr int kNoTimeout = -1;
// From one try of sSerialMutex to the next.
constexpr int kExchangeWaitMs = 10;

constexpr size_t kBufferSize = 1024;

bool isProperty(const char* name, const char* expected) {
    char value[PROPERTY_VALUE_MAX] = {};
    property_get(name, value, "0");
    return strcmp(value, expected) == 0;
}

int pollTimeout() {
    if (!isProperty(kChipProperty, "mtk")) return kNoTimeout;
    LOG_DEBUG("%s MTK model", kFunction);
    return kMtkTimeoutMs;
}

// Logs the failure of a system call of the log thread. Always false.
bool failed(const char* what) {
    LOG_ERROR("%s: %s: %s", kFunction, what, strerror(errno));
    return false;
}

bool isDisplayOn(bool* isOn) {
    const Descriptor file(open(kWakeLockPath, O_RDONLY | O_CLOEXEC));
    if (!file.isOpen()) return failed("failed to open wake_lock");
    char text[kBufferSize];
    const ssize_t count = read(file.get(), text, sizeof(text) - 1);
    if (count < 0) return failed("failed to read wake_lock");
    text[count] = '\0';
    *isOn = strstr(text, kDisplayWakeLock) != nullptr;
    return true;
}

// One capture: the thread's descriptors, and the steps that use them. A step that fails logs the
// cause and returns false, which ends the capture.
class Capture {
  public:
    Capture(const SerialLink& link, const SerialLog& log, int wakeFd, int timeout)
        : mLink(link), mLog(log), mWakeFd(wakeFd), mTimeout(timeout) {}

    // `running` is true while the tty is open.
    void run(std::atomic<bool>* running);

  private:
    bool watchDisplay();
    bool followDisplay();
    bool suspend();
    bool resume();
    bool copyLines();
    int copyLine();
    bool await();
    int awaitExchange();
    bool drainWatch();
    void closeTty();
    void closeAll();

    const SerialLink& mLink;
    const SerialLog& mLog;
    // Wakes the thread. Never read, so that it stays readable.
    const int mWakeFd;
    const int mTimeout;
    // The watch on the wake lock, and the thread's own descriptor of the tty.
    pollfd fds[2] = {{-1, POLLIN, 0}, {-1, 0, 0}};
    nfds_t fdsCount = 0;
};

void Capture::run(std::atomic<bool>* running) {
    fds[0].fd = inotify_init1(IN_CLOEXEC);
    if (fds[0].fd < 0) {
        failed("failed to init inotify");
        return;
    }
    fdsCount = 1;
    if (watchDisplay()) {
        while (followDisplay()) {
            *running = fds[1].fd >= 0;
            if (!copyLines() || !drainWatch()) break;
        }
    }
    *running = false;
    closeAll();
}

bool Capture::watchDisplay() {
    if (inotify_add_watch(fds[0].fd, kWakeLockPath, IN_MODIFY) >= 0) return true;
    return failed("failed to add watch");
}

// Opens or closes the tty as the display went on or off.
bool Capture::followDisplay() {
    bool isOn = false;
    if (!isDisplayOn(&isOn)) return false;
    if (!isOn && fds[1].fd >= 0) return suspend();
    if (isOn && fds[1].fd < 0) return resume();
    return true;
}

bool Capture::suspend() {
    LOG_INFO("%s: suspend", kFunction);
    const int dtr = TIOCM_DTR;
    if (ioctl(fds[1].fd, TIOCMBIC, &dtr) < 0) return failed("failed to clear DTR");
    closeTty();
    return true;
}

bool Capture::resume() {
    // Meant: any value but "0" itself. With "0" the cover's log is off, and no line comes.
    if (isProperty(kCaptureProperty, "0")) return true;
    LOG_INFO("%s: resume", kFunction);
    fds[1].fd = mLink.mSerialDevicePath.open(O_RDWR | O_NOCTTY | O_NONBLOCK, kFunction);
    if (fds[1].fd < 0) return false;
    ++fdsCount;
    fds[1].events = POLLIN | POLLHUP;
    const int dtr = TIOCM_DTR;
    return ioctl(fds[1].fd, TIOCMBIS, &dtr) >= 0 || failed("failed to set DTR");
}

// Copies lines until a process writes to the file of wake locks. False when the thread is to end.
bool Capture::copyLines() {
    for (;;) {
        if (!mLink.isAttached() || !mLog.isEnabled()) return false;
        if (!await()) return false;
        if ((fds[1].revents & POLLHUP) != 0) {
            LOG_DEBUG("%s: POLLHUP", kFunction);
            return false;
        }
        if ((fds[1].revents & POLLIN) != 0) {
            const int copied = copyLine();
            if (copied == EAGAIN) continue;
            if (copied != 0) return false;
        }
        if ((fds[0].revents & POLLIN) != 0) return true;
    }
}

// Copies one line. While an AT exchange runs, waits a moment instead: the exchange's lines are not
// for the log. Returns 0, EAGAIN when there is no line, or the cause of a failure.
int Capture::copyLine() {
    if (!sSerialMutex.tryLock()) return awaitExchange();
    char text[kBufferSize];
    const ssize_t count = read(fds[1].fd, text, sizeof(text));
    const int error = count < 0 ? errno : 0;
    sSerialMutex.unlock(kFunction);
    if (error != 0 && error != EAGAIN) {
        LOG_ERROR("%s: failed to read serial: %s", kFunction, strerror(error));
    }
    if (count <= 0) return error;
    // Meant: quirk last-byte-of-a-log-line.
    text[count - 1] = '\0';
    mLink.logLine(text);
    return 0;
}

// Waits for the thread's descriptors and for its wake-up.
bool Capture::await() {
    pollfd all[] = {{mWakeFd, POLLIN, 0}, fds[0], fds[1]};
    if (poll(all, 1 + fdsCount, mTimeout) < 0) return failed("failed to poll");
    for (nfds_t i = 0; i < fdsCount; ++i) fds[i].revents = all[1 + i].revents;
    return true;
}

// Waits a moment for the end of the running AT exchange. Leaves out the tty: a line that is there
// would end every wait at once. Returns 0, or the cause of a failure.
int Capture::awaitExchange() {
    pollfd others[] = {{mWakeFd, POLLIN, 0}, fds[0]};
    if (poll(others, 2, kExchangeWaitMs) < 0) {
        const int error = errno;
        failed("failed to poll");
        return error;
    }
    fds[0].revents = others[1].revents;
    return 0;
}

bool Capture::drainWatch() {
    char events[kBufferSize];
    return read(fds[0].fd, events, sizeof(events)) >= 0 || failed("inotify read");
}

// After the close the events that poll() reported for the descriptor no longer count.
void Capture::closeTty() {
    close(fds[1].fd);
    fds[1].fd = -1;
    fds[1].revents = 0;
    --fdsCount;
}

void Capture::closeAll() {
    while (fdsCount > 0) close(fds[--fdsCount].fd);
    LOG_DEBUG("%s: exiting", kFunction);
}

}  // namespace

void* Bivista::serialLogThread(void* service) {
    nameThread("serial-log");
    static_cast<Bivista*>(service)->mSerialLog.run();
    return nullptr;
}

void SerialLog::run() {
    LOG_DEBUG("%s: creating", kFunction);
    const int timeout = pollTimeout();
    int wakeFd = -1;
    {
        const MutexLock lock(sSerialMutex, kFunction);
        // Meant: this end is not logged, since no capture began.
        if (!mLink.isAttached() || !isEnabled()) return;
        wakeFd = mSerialLogWakeFd;
    }
    Capture(mLink, *this, wakeFd, timeout).run(&mSerialLogRunning);
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
