// Copies the cover's own log, which it streams over its tty between AT exchanges, while the phone's
// display is on.

#include <cerrno>
#include <cstring>

#include <cutils/properties.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "kernel/Bivista.h"
#include "kernel/base/Descriptor.h"
#include "kernel/base/ThreadName.h"
#include "kernel/serial/SerialAt.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr char kFunction[] = "serialLogThread";

constexpr char kCaptureProperty[] = "persist.vendor.qmx.service.kernel.enable";
constexpr char kUartProperty[] = "persist.vendor.qmx.dd.uart.enable";
constexpr char kChipProperty[] = "ro.vendor.qmx.chip.vendor";

// 3 is what switches the cover's log off.
constexpr char kLogOff[] = "AT%LOGSAVE=3\r";

constexpr char kWakeLock[] = "/sys/power/wake_lock";
constexpr char kDisplayWakeLock[] = "PowerManagerService.Display";

constexpr int kMtkTimeoutMs = 1000;
constexpr int kNoTimeout = -1;
// From one try of sSerialMutex to the next.
constexpr int kExchangeWaitMs = 10;

constexpr size_t kBufferSize = 1024;

// The log thread's descriptors: the watch on the wake lock, and its own of the tty. Used by that
// thread alone; a next one starts when it has been joined.
pollfd fds[2] = {{-1, POLLIN, 0}, {-1, 0, 0}};
nfds_t fdsCount = 0;

// False when the property is empty.
bool readProperty(const char* function, const char* name, char (&value)[PROPERTY_VALUE_MAX]) {
    if (property_get(name, value, "0") <= 0) return false;
    LOG_DEBUG("%s: %s :%s", function, name, value);
    return true;
}

bool isProperty(const char* name, const char* expected) {
    char value[PROPERTY_VALUE_MAX] = {};
    property_get(name, value, "0");
    return strcmp(value, expected) == 0;
}

// Logs the failure of a system call of the log thread. Always false.
bool failed(const char* what) {
    LOG_ERROR("%s: %s: %s", kFunction, what, strerror(errno));
    return false;
}

bool watchWakeLock() {
    if (inotify_add_watch(fds[0].fd, kWakeLock, IN_MODIFY) >= 0) return true;
    return failed("failed to add watch");
}

bool isDisplayOn(bool* isOn) {
    const Descriptor file(open(kWakeLock, O_RDONLY | O_CLOEXEC));
    if (!file.isOpen()) return failed("failed to open wake_lock");
    char text[kBufferSize];
    const ssize_t count = read(file.get(), text, sizeof(text) - 1);
    if (count < 0) return failed("failed to read wake_lock");
    text[count] = '\0';
    *isOn = strstr(text, kDisplayWakeLock) != nullptr;
    return true;
}

// What poll() told of a descriptor is void once it is closed.
void closeTty() {
    close(fds[1].fd);
    fds[1].fd = -1;
    fds[1].revents = 0;
    --fdsCount;
}

bool suspend() {
    LOG_INFO("%s: suspend", kFunction);
    const int dtr = TIOCM_DTR;
    if (ioctl(fds[1].fd, TIOCMBIC, &dtr) < 0) return failed("failed to clear DTR");
    closeTty();
    return true;
}

bool resume(const DevicePath& devicePath) {
    // Meant: any value but "0" itself, also one for which the cover was told to be silent.
    if (isProperty(kCaptureProperty, "0")) return true;
    LOG_INFO("%s: resume", kFunction);
    char path[DevicePath::kCapacity];
    devicePath.copyTo(path);
    fds[1].fd = open(path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fds[1].fd < 0) {
        LOG_ERROR("%s: failed to open \"%s\": %s", kFunction, path, strerror(errno));
        return false;
    }
    ++fdsCount;
    fds[1].events = POLLIN | POLLHUP;
    const int dtr = TIOCM_DTR;
    return ioctl(fds[1].fd, TIOCMBIS, &dtr) >= 0 || failed("failed to set DTR");
}

// Opens or closes the tty as the display went on or off.
bool followDisplay(const DevicePath& devicePath) {
    bool isOn = false;
    if (!isDisplayOn(&isOn)) return false;
    if (!isOn && fds[1].fd >= 0) return suspend();
    if (isOn && fds[1].fd < 0) return resume(devicePath);
    return true;
}

// Polls the thread's descriptors and the one that ends its sleep, which is never read.
bool pollDescriptors(int wakeFd, int timeout) {
    pollfd all[] = {{wakeFd, POLLIN, 0}, fds[0], fds[1]};
    if (poll(all, 1 + fdsCount, timeout) < 0) return failed("failed to poll");
    for (nfds_t i = 0; i < fdsCount; ++i) fds[i].revents = all[1 + i].revents;
    return true;
}

// Waits a moment for the end of the AT exchange that runs. Leaves out the tty, which would end the
// wait at once for as long as a line is there. 0, or the cause of a failure.
int waitForExchange(int wakeFd) {
    pollfd others[] = {{wakeFd, POLLIN, 0}, fds[0]};
    if (poll(others, 2, kExchangeWaitMs) < 0) {
        const int error = errno;
        failed("failed to poll");
        return error;
    }
    fds[0].revents = others[1].revents;
    return 0;
}

bool drainWatch() {
    char events[kBufferSize];
    return read(fds[0].fd, events, sizeof(events)) >= 0 || failed("inotify read");
}

void closeAll() {
    while (fdsCount > 0) {
        --fdsCount;
        close(fds[fdsCount].fd);
        fds[fdsCount].fd = -1;
        fds[fdsCount].revents = 0;
    }
    fds[1].events = 0;
    LOG_DEBUG("%s: exiting", kFunction);
}

}  // namespace

const char* Bivista::getLogSaveAtCmd() {
    char value[PROPERTY_VALUE_MAX] = {};
    if (!readProperty(__func__, kCaptureProperty, value)) return kLogOff;
    // Meant: any first character from '1' on, letters too.
    if (value[0] < '1') return kLogOff;
    if (!readProperty(__func__, kUartProperty, value)) return "AT%LOGSAVE=0\r";
    return value[0] == '1' ? "AT%LOGSAVE=2\r" : "AT%LOGSAVE=0\r";
}

int Bivista::serialLogEnable(bool enable) {
    LOG_DEBUG("%s: %d", __func__, enable);
    if (mSerialLogEnabled == enable) return 0;
    return enable ? startSerialLog() : stopSerialLog();
}

int Bivista::startSerialLog() {
    static constexpr char kEnable[] = "serialLogEnable";
    // One may be left whose end nobody waited for.
    joinSerialLog();
    {
        const MutexLock lock(sSerialMutex, kEnable);
        mSerialLogEnabled = true;
        mSerialLogWakeFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        if (mSerialLogWakeFd < 0) {
            LOG_ERROR("%s: failed to make eventfd: %s", kEnable, strerror(errno));
        }
    }
    const int created = pthread_create(&mSerialLogThread, nullptr, serialLogThread, this);
    // Meant: a positive error number counts as success.
    if (created < 0) {
        LOG_ERROR("Failed to create serial_log pthread: %s", strerror(created));
        return created;
    }
    mSerialLogThreadExists = created == 0;
    const int result = serialAtCmd(getLogSaveAtCmd(), nullptr, 0, nullptr);
    if (result < 0) LOG_ERROR("%s: failed to enable log: %s", kEnable, strerror(errno));
    return result;
}

int Bivista::stopSerialLog() {
    static constexpr char kEnable[] = "serialLogEnable";
    {
        const MutexLock lock(sSerialMutex, kEnable);
        mSerialLogEnabled = false;
        wakeSerialLog();
    }
    int result = 0;
    if (mSerialAttached) {
        result = serialAtCmd(kLogOff, nullptr, 0, nullptr);
        if (result < 0 && mUsbAttached) {
            // Meant: nobody waits for the thread here. The next start does.
            LOG_ERROR("%s: failed to disable log: %s", kEnable, strerror(errno));
            return result;
        }
    }
    joinSerialLog();
    return result;
}

void Bivista::wakeSerialLog() {
    if (mSerialLogWakeFd >= 0) eventfd_write(mSerialLogWakeFd, 1);
}

void Bivista::joinSerialLog() {
    if (mSerialLogThreadExists.exchange(false)) pthread_join(mSerialLogThread, nullptr);
    const MutexLock lock(sSerialMutex, "serialLogEnable");
    if (mSerialLogWakeFd >= 0) close(mSerialLogWakeFd);
    mSerialLogWakeFd = -1;
}

void* Bivista::serialLogThread(void* service) {
    nameThread("serial-log");
    Bivista* const self = static_cast<Bivista*>(service);
    LOG_DEBUG("%s: creating", kFunction);
    int timeout = kNoTimeout;
    if (isProperty(kChipProperty, "mtk")) {
        LOG_DEBUG("%s MTK model", kFunction);
        timeout = kMtkTimeoutMs;
    }
    int wakeFd = -1;
    {
        const MutexLock lock(sSerialMutex, kFunction);
        // Meant: an end without a line.
        if (!self->mSerialAttached || !self->mSerialLogEnabled) return nullptr;
        wakeFd = self->mSerialLogWakeFd;
    }
    self->captureSerialLog(wakeFd, timeout);
    return nullptr;
}

void Bivista::captureSerialLog(int wakeFd, int timeout) {
    fds[0].fd = inotify_init1(IN_CLOEXEC);
    if (fds[0].fd < 0) {
        failed("failed to init inotify");
        return;
    }
    fdsCount = 1;
    if (watchWakeLock()) {
        while (followDisplay(mSerialDevicePath)) {
            mSerialLogRunning = fds[1].fd >= 0;
            if (!copySerialLog(wakeFd, timeout) || !drainWatch()) break;
        }
    }
    mSerialLogRunning = false;
    closeAll();
}

// Copies lines until the wake lock was written. False when the thread is to end.
bool Bivista::copySerialLog(int wakeFd, int timeout) {
    for (;;) {
        if (!mSerialAttached || !mSerialLogEnabled) return false;
        if (!pollDescriptors(wakeFd, timeout)) return false;
        if ((fds[1].revents & POLLHUP) != 0) {
            LOG_DEBUG("%s: POLLHUP", kFunction);
            return false;
        }
        if ((fds[1].revents & POLLIN) != 0) {
            const int copied = copySerialLine(wakeFd);
            if (copied == EAGAIN) continue;
            if (copied != 0) return false;
        }
        if ((fds[0].revents & POLLIN) != 0) return true;
    }
}

// Copies one line. While an AT exchange runs, whose lines are not for the log, waits a moment
// instead. 0, EAGAIN when there is no line after all, or the cause of a failure.
int Bivista::copySerialLine(int wakeFd) {
    if (!sSerialMutex.tryLock()) return waitForExchange(wakeFd);
    char text[kBufferSize];
    const ssize_t count = read(fds[1].fd, text, sizeof(text));
    const int error = count < 0 ? errno : 0;
    sSerialMutex.unlock(kFunction);
    if (error != 0 && error != EAGAIN) {
        LOG_ERROR("%s: failed to read serial: %s", kFunction, strerror(error));
    }
    if (count <= 0) return error;
    // Meant: the last byte gives way, also when it is not the line's end.
    text[count - 1] = '\0';
    logSerialLine(text);
    return 0;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
