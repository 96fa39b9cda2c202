// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a healthy system does not show the log thread: system calls that break off, and a thread
// that cannot be made. The calls of this program go through the functions below (linker option
// --wrap).
#include <atomic>
#include <cerrno>
#include <csignal>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "tests/kernel/ServiceTest.h"
#include "tests/support/Interposition.h"

namespace {

// The watches that the two USB threads make come first.
constexpr int kUsbWatches = 2;
std::atomic<int> watches = 0;
std::atomic<int> watchFd = -1;
std::atomic<bool> failWatch = false;
std::atomic<bool> failEventfd = false;
// Each breaks off the next such call of the log thread.
std::atomic<bool> failPoll = false;
std::atomic<bool> failWatchRead = false;
std::atomic<bool> failTtyRead = false;
std::atomic<int> ttyReadError = EIO;
std::atomic<bool> failDtr = false;
// Trials of the log thread's that found the lock taken, and that nothing but another trial, or a
// wait that the tty can end, came after.
std::atomic<int> busyTries = 0;
std::atomic<int> hurriedTries = 0;
// The calling thread's last trial found the lock taken, and it has not waited since.
thread_local bool mustWait = false;
// Breaks off the wait after such a trial.
std::atomic<bool> failBusyWait = false;

int broken(int error) {
    errno = error;
    return -1;
}

// The emulator's side of the pty does not block either; it alone has a number (TIOCGPTN).
bool isLogTty(int fd) {
    unsigned int number = 0;
    return isatty(fd) && (fcntl(fd, F_GETFL) & O_NONBLOCK) != 0 &&
           ioctl(fd, TIOCGPTN, &number) != 0;
}

}  // namespace

extern "C" {

int __real_inotify_init1(int flags);
int __wrap_inotify_init1(int flags) {
    if (++watches <= kUsbWatches) return __real_inotify_init1(flags);
    if (failWatch.exchange(false)) return broken(EMFILE);
    watchFd = __real_inotify_init1(flags);
    return watchFd;
}

int __real_eventfd(unsigned int count, int flags);
int __wrap_eventfd(unsigned int count, int flags) {
    return failEventfd ? broken(EMFILE) : __real_eventfd(count, flags);
}

int __real_poll(pollfd* fds, nfds_t count, int timeout);
int __wrap_poll(pollfd* fds, nfds_t count, int timeout) {
    const bool mine = count >= 2 && fds[1].fd == watchFd && watchFd >= 0;
    if (!mine) return __real_poll(fds, count, timeout);
    if (std::exchange(mustWait, false)) {
        // Beside the watch only the descriptor that ends the thread, and for a time.
        if (count > 2 || timeout <= 0) ++hurriedTries;
        if (failBusyWait.exchange(false)) return broken(ENOMEM);
    }
    return failPoll.exchange(false) ? broken(ENOMEM) : __real_poll(fds, count, timeout);
}

ssize_t __real_read(int fd, void* buffer, size_t size);
ssize_t __wrap_read(int fd, void* buffer, size_t size) {
    if (fd == watchFd && failWatchRead.exchange(false)) return broken(EIO);
    if (failTtyRead && isLogTty(fd) && failTtyRead.exchange(false)) return broken(ttyReadError);
    return __real_read(fd, buffer, size);
}

int __wrap_ioctl(int fd, unsigned long request, void* argument);
int __real_ioctl(int fd, unsigned long request, void* argument);
int __wrap_ioctl(int fd, unsigned long request, void* argument) {
    if (request == TIOCMBIC && failDtr.exchange(false)) return broken(EIO);
    return __real_ioctl(fd, request, argument);
}

int __real_pthread_mutex_trylock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_trylock(pthread_mutex_t* mutex) {
    const int result = __real_pthread_mutex_trylock(mutex);
    if (mustWait) ++hurriedTries;
    mustWait = result == EBUSY;
    if (mustWait) ++busyTries;
    return result;
}
}

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

class SerialLogInterpositionTest : public ServiceTest {
  protected:
    SerialLogInterpositionTest() {
        phone.properties.set("persist.vendor.qmx.service.kernel.enable", "1");
    }

    ~SerialLogInterpositionTest() override { support::onThreadCreate = nullptr; }

    void start() {
        ServiceTest::start();
        while (watches < kUsbWatches) {
        }
    }

    // Until the log thread has the tty open, too: what the cover sends ahead of that may be lost.
    void awaitResume() const {
        log.waitFor("serialLogThread: resume");
        journal.waitFor(
                [](const phone::Entry& entry) {
                    return entry.kind == phone::Kind::TtyOpen &&
                           entry.note.find("O_NONBLOCK") != std::string::npos;
                },
                first);
    }

    // Has the cover log a line, and waits until the log thread has found the lock taken.
    void leavePendingLine(const std::string& line) const {
        const int before = busyTries;
        while (!phone.cover.log(line)) usleep(1000);
        while (busyTries == before) usleep(1000);
    }

    // The line of a failure, and after it the end of the thread; the service goes on.
    void expectEnd(const std::string& failure) {
        const size_t line = log.waitFor(ANDROID_LOG_ERROR, failure);
        log.waitFor(ANDROID_LOG_DEBUG, "serialLogThread: exiting", line);
        EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
    }
};

TEST_F(SerialLogInterpositionTest, EndsWithoutAWatch) {
    start();
    failWatch = true;
    attach();
    log.waitFor(ANDROID_LOG_ERROR, "serialLogThread: failed to init inotify: Too many open files");
    detach();
    // Meant: this one end is without the closing line.
    EXPECT_FALSE(log.contains("serialLogThread: exiting"));
}

TEST_F(SerialLogInterpositionTest, EndsWhenPollFails) {
    start();
    failPoll = true;
    attach();
    expectEnd("serialLogThread: failed to poll: Cannot allocate memory");
}

TEST_F(SerialLogInterpositionTest, EndsWhenTheWatchCannotBeDrained) {
    start();
    attach();
    awaitResume();
    failWatchRead = true;
    phone.files.setWakeLock(true);
    expectEnd("serialLogThread: inotify read: Input/output error");
}

TEST_F(SerialLogInterpositionTest, EndsWhenTheTtyCannotBeRead) {
    start();
    attach();
    awaitResume();
    failTtyRead = true;
    while (!phone.cover.log("lost")) {
    }
    expectEnd("serialLogThread: failed to read serial: Input/output error");
}

TEST_F(SerialLogInterpositionTest, GoesOnWhenThereIsNothingToReadAfterAll) {
    start();
    attach();
    awaitResume();
    ttyReadError = EAGAIN;
    failTtyRead = true;
    while (!phone.cover.log("kept")) {
    }
    log.waitFor(ANDROID_LOG_INFO, "kept");
}

TEST_F(SerialLogInterpositionTest, EndsWhenDtrCannotBeCleared) {
    start();
    attach();
    awaitResume();
    failDtr = true;
    phone.files.setWakeLock(false);
    log.waitFor(ANDROID_LOG_INFO, "serialLogThread: suspend");
    expectEnd("serialLogThread: failed to clear DTR: Input/output error");
}

TEST_F(SerialLogInterpositionTest, LeavesTheLinesAloneWhileTheLockIsTaken) {
    start();
    attach();
    awaitResume();
    {
        const MutexLock lock(sSerialMutex, __func__);
        leavePendingLine("later");
        EXPECT_FALSE(log.contains("later"));
    }
    log.waitFor(ANDROID_LOG_INFO, "later");
    EXPECT_EQ(hurriedTries, 0);
}

// The tty would end such a wait at once, again and again.
TEST_F(SerialLogInterpositionTest, WaitsWithoutTheTtyBetweenItsTriesOfTheLock) {
    start();
    attach();
    awaitResume();
    {
        const MutexLock lock(sSerialMutex, __func__);
        leavePendingLine("later");
        while (busyTries < 5) usleep(1000);
    }
    log.waitFor(ANDROID_LOG_INFO, "later");
    EXPECT_EQ(hurriedTries, 0);
}

TEST_F(SerialLogInterpositionTest, SeesAHangUpWhileTheLockIsTaken) {
    start();
    attach();
    awaitResume();
    const MutexLock lock(sSerialMutex, __func__);
    leavePendingLine("lost");
    phone.cover.detach();
    const size_t at = log.waitFor(ANDROID_LOG_DEBUG, "serialLogThread: POLLHUP");
    log.waitFor(ANDROID_LOG_DEBUG, "serialLogThread: exiting", at);
    EXPECT_FALSE(log.contains("lost"));
    EXPECT_EQ(hurriedTries, 0);
}

TEST_F(SerialLogInterpositionTest, FollowsTheDisplayWhileTheLockIsTaken) {
    start();
    attach();
    awaitResume();
    const MutexLock lock(sSerialMutex, __func__);
    leavePendingLine("unread");
    phone.files.setWakeLock(false);
    log.waitFor(ANDROID_LOG_INFO, "serialLogThread: suspend");
    EXPECT_FALSE(log.contains("unread"));
    EXPECT_EQ(hurriedTries, 0);
}

TEST_F(SerialLogInterpositionTest, EndsWhenTheWaitForTheLockFails) {
    start();
    attach();
    awaitResume();
    {
        const MutexLock lock(sSerialMutex, __func__);
        failBusyWait = true;
        leavePendingLine("lost");
        log.waitFor("serialLogThread: exiting");
    }
    expectEnd("serialLogThread: failed to poll: Cannot allocate memory");
}

TEST_F(SerialLogInterpositionTest, EndsWithoutItsEventfdToo) {
    start();
    failEventfd = true;
    attach();
    log.waitFor(ANDROID_LOG_ERROR, "serialLogEnable: failed to make eventfd: Too many open files");
    awaitResume();
    // The hang-up wakes it.
    detach();
    log.waitFor(ANDROID_LOG_DEBUG, "serialLogThread: exiting");
}

class LogThreadCreationTest : public SerialLogInterpositionTest {
  protected:
    // Lets the creation of every further thread give `result`.
    void failThreads(int result) {
        support::onThreadCreate = [result](support::ThreadBody) { return result; };
    }
};

TEST_F(LogThreadCreationTest, ANegativeResultIsReportedAndNoCommandIsSent) {
    start();
    failThreads(-EAGAIN);
    EXPECT_EQ(service->serialLogEnable(true), -EAGAIN);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR,
                             "Failed to create serial_log pthread: Unknown error -11"));
    EXPECT_FALSE(log.contains("getLogSaveAtCmd: persist.vendor.qmx.service.kernel.enable :1"));
    EXPECT_EQ(service->serialLogEnable(false), 0);
}

// Meant: a positive error number counts as success. There is no thread to join then.
TEST_F(LogThreadCreationTest, APositiveResultCountsAsSuccess) {
    start();
    failThreads(EAGAIN);
    EXPECT_EQ(service->serialLogEnable(true), -1) << "no cover takes the command";
    EXPECT_TRUE(log.contains("serialLogEnable: failed to enable log: No such device"));
    EXPECT_EQ(service->serialLogEnable(false), 0);
    EXPECT_FALSE(log.contains("serialLogThread: creating"));
}

TEST_F(SerialLogInterpositionTest, LogsLocksThatFail) {
    start();
    support::failLock = 1;
    support::failUnlocks = true;
    service->serialLogEnable(true);
    support::failUnlocks = false;
    EXPECT_TRUE(
            log.contains(ANDROID_LOG_ERROR, "Error at pthread_mutex_lock() : serialLogEnable\n"));
    EXPECT_TRUE(
            log.contains(ANDROID_LOG_ERROR, "Error at pthread_mutex_unlock() : serialLogEnable\n"));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
