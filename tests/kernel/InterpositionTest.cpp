// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a healthy system does not do: locks that fail, threads that cannot be made, system calls
// that break off. The calls of this program go through the functions below (linker option --wrap)
// and those of tests/support/Interposition.h.
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <utility>

#include <dirent.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>
#include <usbhost/usbhost.h>

#include "tests/kernel/ServiceTest.h"
#include "tests/support/Interposition.h"

namespace {

// What the wrapped calls of the calling thread do instead; null: what they always do.
thread_local std::function<int()> onPoll;
// The polls that go through before onPoll takes one.
thread_local int pollsBefore = 0;
thread_local std::function<ssize_t(char*)> onRead;
thread_local std::function<ssize_t()> onWrite;
// These are called on the service's threads; those of inotify are the notify thread's own, and the
// USB host watches on.
std::function<int()> onInotifyInit;
std::function<int()> onInotifyWatch;
std::function<int()> onEventfd;
std::atomic<bool> noUsbHost = false;
// Polls that include the descriptor of the USB host context.
std::function<int()> onUsbPoll;
std::atomic<int> usbHostFd = -1;
// The next entry of a folder that the calling thread reads.
thread_local std::function<dirent*()> onReadFolder;
// Told of every clean-up of a context before it is done.
std::function<void()> onUsbHostCleanup;

template <typename Function, typename... Arguments>
auto callOnce(Function& function, Arguments... arguments) {
    const Function call = std::exchange(function, nullptr);
    return call(arguments...);
}

}  // namespace

extern "C" {

int __real_poll(pollfd* fds, nfds_t count, int timeout);
int __wrap_poll(pollfd* fds, nfds_t count, int timeout) {
    const bool isUsb = count > 0 && fds[0].fd >= 0 && fds[0].fd == usbHostFd;
    if (isUsb && onUsbPoll) return callOnce(onUsbPoll);
    return onPoll && pollsBefore-- == 0 ? callOnce(onPoll) : __real_poll(fds, count, timeout);
}

ssize_t __real_read(int fd, void* buffer, size_t size);
ssize_t __wrap_read(int fd, void* buffer, size_t size) {
    return onRead ? callOnce(onRead, static_cast<char*>(buffer)) : __real_read(fd, buffer, size);
}

ssize_t __real_write(int fd, const void* buffer, size_t size);
ssize_t __wrap_write(int fd, const void* buffer, size_t size) {
    // The command itself, not the control files around it.
    const bool command = size > 2 && memcmp(buffer, "AT", 2) == 0;
    return onWrite && command ? callOnce(onWrite) : __real_write(fd, buffer, size);
}

// The USB thread, which may be late, does not look at what the test sets.
int __real_inotify_init1(int flags);
int __wrap_inotify_init1(int flags) {
    const bool ofUsbHost = (flags & IN_NONBLOCK) != 0;
    return !ofUsbHost && onInotifyInit ? onInotifyInit() : __real_inotify_init1(flags);
}

int __real_inotify_add_watch(int fd, const char* path, uint32_t mask);
int __wrap_inotify_add_watch(int fd, const char* path, uint32_t mask) {
    const bool ofUsbHost = (mask & IN_ONLYDIR) != 0;
    return !ofUsbHost && onInotifyWatch ? onInotifyWatch()
                                        : __real_inotify_add_watch(fd, path, mask);
}

usb_host_context* __real_usb_host_init();
usb_host_context* __wrap_usb_host_init() {
    return noUsbHost ? nullptr : __real_usb_host_init();
}

int __real_usb_host_get_fd(usb_host_context* context);
int __wrap_usb_host_get_fd(usb_host_context* context) {
    usbHostFd = __real_usb_host_get_fd(context);
    return usbHostFd;
}

void __real_usb_host_cleanup(usb_host_context* context);
void __wrap_usb_host_cleanup(usb_host_context* context) {
    if (onUsbHostCleanup) onUsbHostCleanup();
    __real_usb_host_cleanup(context);
}

dirent* __real_readdir(DIR* folder);
dirent* __wrap_readdir(DIR* folder) {
    return onReadFolder ? callOnce(onReadFolder) : __real_readdir(folder);
}

int __real_eventfd(unsigned int count, int flags);
int __wrap_eventfd(unsigned int count, int flags) {
    return onEventfd ? onEventfd() : __real_eventfd(count, flags);
}
}

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using support::failLock;
using support::failUnlocks;
using support::onThreadCreate;
using support::ThreadBody;
using testing::ElementsAre;

std::function<int()> failing(int error) {
    return [error] {
        errno = error;
        return -1;
    };
}

class InterpositionTest : public ServiceTest {
  protected:
    ~InterpositionTest() override {
        onPoll = nullptr;
        onRead = nullptr;
        onWrite = nullptr;
        onInotifyInit = nullptr;
        onInotifyWatch = nullptr;
        noUsbHost = false;
        onUsbHostCleanup = nullptr;
    }
};

TEST_F(InterpositionTest, AFailedLockIsLoggedWithTheFunctionsNameAndIgnored) {
    start();
    attach();
    failLock = 1;
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "Error at pthread_mutex_lock() : serialAtCmd\n"));
}

TEST_F(InterpositionTest, AFailedUnlockIsLoggedWithTheFunctionsNameAndIgnored) {
    start();
    attach();
    failUnlocks = true;
    const std::string answer = send("AT%SWV\r").answer;
    failUnlocks = false;
    EXPECT_EQ(answer, "BV330-V10k_20210312");
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "Error at pthread_mutex_unlock() : serialAtCmd\n"));
}

// A function whose first lock is its own, called on an attached cover, where its work succeeds.
struct LockingFunction {
    const char* name;
    void (*call)(Bivista& service);
};
class LockFailureTest : public InterpositionTest,
                        public testing::WithParamInterface<LockingFunction> {};

TEST_P(LockFailureTest, AFailedLockIsLoggedWithTheFunctionsName) {
    start();
    attach();
    failLock = 1;
    GetParam().call(*service);
    EXPECT_EQ(failLock, 0);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, std::string("Error at pthread_mutex_lock() : ") +
                                                        GetParam().name + "\n"));
}

TEST_P(LockFailureTest, AFailedUnlockIsLoggedWithTheFunctionsName) {
    start();
    attach();
    failUnlocks = true;
    GetParam().call(*service);
    failUnlocks = false;
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, std::string("Error at pthread_mutex_unlock() : ") +
                                                        GetParam().name + "\n"));
}

class IgnoredAnswer : public IBivistaAtCallback {
  public:
    Return<void> onAtResponse(const hidl_string& /*line*/) override { return Void(); }
};

void sendWithCallback(Bivista& service) {
    Status status = Status::FAIL;
    const Return<void> returned = service.sendAtCommand(
            "AT%SWV", new IgnoredAnswer,
            [&status](Status answered, const hidl_string& /*answer*/) { status = answered; });
    EXPECT_TRUE(returned.isOk());
    EXPECT_EQ(status, Status::OK);
}

void detachPort(Bivista& service) {
    service.serialDeviceRemoved();
    EXPECT_EQ(service.serialAtCmd("AT\r", nullptr, 0, nullptr), -1);
    EXPECT_EQ(errno, ENODEV);
}

void forceAuto(Bivista& service) {
    EXPECT_EQ(service.usbAutoSuspend(true, false), 4);
}

void clearNoCallback(Bivista& service) {
    EXPECT_TRUE(service.setLpwgCallback(nullptr).isOk());
}

INSTANTIATE_TEST_SUITE_P(Functions, LockFailureTest,
                         testing::Values(LockingFunction{"sendAtCommand", sendWithCallback},
                                         LockingFunction{"serialDeviceAdded",
                                                         [](Bivista& service) {
                                                             service.serialDeviceAdded();
                                                         }},
                                         LockingFunction{"serialDeviceRemoved", detachPort},
                                         LockingFunction{"setLpwgCallback", clearNoCallback},
                                         LockingFunction{"usbAutoSuspend", forceAuto}),
                         [](const auto& info) { return info.param.name; });

TEST_F(InterpositionTest, TheConstructorsLockIsNamedAfterTheClass) {
    failLock = 1;
    failUnlocks = true;
    make();
    failUnlocks = false;
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "Error at pthread_mutex_lock() : Bivista\n"));
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "Error at pthread_mutex_unlock() : Bivista\n"));
    awaitWatching();
}

using InterpositionDeathTest = InterpositionTest;

TEST_F(InterpositionDeathTest, ANotifyThreadThatReportsANegativeResultEndsTheProcess) {
    EXPECT_EXIT(
            {
                __android_log_set_logger(__android_log_stderr_logger);
                onThreadCreate = [](ThreadBody) { return -EAGAIN; };
                new Bivista();
            },
            testing::ExitedWithCode(1),
            "Failed to create usb notify pthread: Unknown error -11(.|\n)*Exiting Bivista");
}

TEST_F(InterpositionDeathTest, AUsbThreadThatReportsANegativeResultEndsTheProcess) {
    EXPECT_EXIT(
            {
                __android_log_set_logger(__android_log_stderr_logger);
                onThreadCreate = [calls = 0](ThreadBody) mutable {
                    return ++calls == 2 ? -EAGAIN : 0;
                };
                new Bivista();
            },
            testing::ExitedWithCode(1),
            "Failed to create usb pthread: Unknown error -11(.|\n)*Exiting Bivista");
}

// Without it the handler would wait for threads that nothing wakes.
TEST_F(InterpositionDeathTest, AStopEventfdThatCannotBeMadeEndsTheProcess) {
    EXPECT_EXIT(
            {
                __android_log_set_logger(__android_log_stderr_logger);
                // No thread may be asked for.
                onThreadCreate = [](ThreadBody) -> int { _exit(2); };
                onEventfd = failing(EMFILE);
                new Bivista();
            },
            testing::ExitedWithCode(1),
            "Failed to create usb stop eventfd: Too many open files(.|\n)*Exiting Bivista");
}

// Meant: a positive error number, as POSIX has it, counts as success.
TEST_F(InterpositionTest, APositiveThreadErrorIsNoFailure) {
    onThreadCreate = [](ThreadBody) { return EAGAIN; };
    make();
    onThreadCreate = nullptr;
    EXPECT_FALSE(log.contains("Exiting Bivista"));
    EXPECT_EQ(send("AT%SWV\r").error, ENODEV);
    // Nothing runs, so the handler has nothing to stop.
    log.clear();
    Bivista::sighandler(SIGUSR1);
    EXPECT_THAT(log.texts(), ElementsAre("destroy set"));
}

// Refuses the n-th thread from now on.
void refuseThread(int number) {
    onThreadCreate = [number, calls = 0](ThreadBody) mutable {
        return ++calls == number ? EAGAIN : 0;
    };
}

TEST_F(InterpositionTest, ASignalToTheProcessStopsTheUsbThreadWithoutANotifyThread) {
    refuseThread(1);
    make();
    onThreadCreate = nullptr;
    awaitUsbWatch();
    ASSERT_EQ(kill(getpid(), SIGUSR1), 0);
    log.waitFor("destroy set", log.waitFor("usbThread: exiting"));
    EXPECT_FALSE(log.contains("usbNotifyThread: creating"));
}

TEST_F(InterpositionTest, WithoutAThreadForTheSignalTheServiceGoesOn) {
    refuseThread(3);
    start();
    onThreadCreate = nullptr;
    EXPECT_TRUE(
            log.contains(ANDROID_LOG_ERROR,
                         "Failed to create stop signal pthread: Resource temporarily unavailable"));
    attach();
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
    Bivista::sighandler(SIGUSR1);
    EXPECT_TRUE(log.contains("usbNotifyThread: exiting"));
}

TEST_F(InterpositionTest, WithoutInotifyTheNotifyThreadEnds) {
    onInotifyInit = failing(EMFILE);
    make();
    const size_t at = log.waitFor("usbNotifyThread: failed to init inotify: Too many open files");
    log.waitFor("usbNotifyThread: exiting", at);
    awaitUsbWatch();
}

TEST_F(InterpositionTest, WithoutAWatchTheNotifyThreadEnds) {
    onInotifyWatch = failing(ENOSPC);
    make();
    const size_t at = log.waitFor("usbNotifyThread: failed to add watch: No space left on device");
    log.waitFor("usbNotifyThread: exiting", at);
    awaitUsbWatch();
}

// With neither thread to stop, the handler sets the flag and logs that.
TEST_F(InterpositionTest, TheHandlerHasNothingToJoinWithoutThreads) {
    onInotifyInit = failing(EMFILE);
    noUsbHost = true;
    make();
    log.waitFor("usbNotifyThread: exiting");
    log.waitFor("usbThread: exiting");
    log.clear();
    Bivista::sighandler(SIGUSR1);
    EXPECT_THAT(log.texts(), ElementsAre("destroy set"));
    // Nor does a signal to the process stay pending.
    ASSERT_EQ(kill(getpid(), SIGUSR1), 0);
    EXPECT_EQ(log.waitFor("destroy set", 1), 2u);
}

// The phone's libusbhost frees the context at once, even while a thread uses it.
TEST_F(InterpositionTest, TheUsbHostIsCleanedUpOnceWhenItsThreadHasEnded) {
    std::atomic<int> cleanups = 0;
    std::atomic<bool> ended = false;
    onUsbHostCleanup = [&] {
        ++cleanups;
        ended = log.contains("usbThread: exiting");
    };
    start();
    phone.loader.attach();
    log.waitFor("usbDeviceAdded : normal dload mode");
    Bivista::sighandler(SIGUSR1);
    EXPECT_EQ(cleanups, 1);
    EXPECT_TRUE(ended);
    Bivista::sighandler(SIGUSR1);
    EXPECT_EQ(cleanups, 1);
}

TEST_F(InterpositionTest, AnInterruptedWaitKeepsTheUsbThread) {
    onUsbPoll = failing(EINTR);
    start();
    // The first device may be there before the first wait; the second one comes through a wait.
    phone.loader.attach();
    const size_t at = log.waitFor("usbDeviceAdded : normal dload mode");
    phone.loader.detach();
    phone.loader.attach();
    log.waitFor("usbDeviceAdded : normal dload mode", at);
    EXPECT_EQ(onUsbPoll, nullptr);
    EXPECT_FALSE(log.contains("usbThread: exiting"));
}

TEST_F(InterpositionTest, AFailedWaitEndsTheUsbThread) {
    std::atomic<int> cleanups = 0;
    onUsbHostCleanup = [&] { ++cleanups; };
    onUsbPoll = failing(ENOMEM);
    start();
    const size_t at =
            log.waitFor(ANDROID_LOG_ERROR, "usbThread: failed to poll: Cannot allocate memory");
    log.waitFor("usbThread: exiting", at);
    EXPECT_EQ(cleanups, 0);
    // The handler still releases the context.
    Bivista::sighandler(SIGUSR1);
    EXPECT_EQ(cleanups, 1);
}

TEST_F(InterpositionTest, AFailedPollEndsTheCommand) {
    start();
    attach();
    const uint64_t from = journal.next();
    onPoll = failing(EINTR);
    const Result result = send("AT%SWV\r");
    EXPECT_EQ(result.value, -1);
    EXPECT_EQ(result.error, EINTR);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR,
                             "serialAtCmd: failed to poll: Interrupted system call"));
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "serialAtCmd: last read buffer value: []"));
    // The vote is withdrawn.
    journal.waitFor(phone::is(phone::Kind::NodeWrite, "auto"), from);
}

class LaterPollTest : public InterpositionTest,
                      public testing::WithParamInterface<std::pair<int, const char*>> {};

TEST_P(LaterPollTest, AFailureShowsTheLastLineRead) {
    start();
    attach();
    pollsBefore = GetParam().first;
    onPoll = failing(ENOMEM);
    const Result result = send("AT%SWV\r");
    EXPECT_EQ(result.value, -1);
    EXPECT_EQ(result.error, ENOMEM);
    const size_t at =
            log.waitFor(ANDROID_LOG_ERROR, "serialAtCmd: failed to poll: Cannot allocate memory");
    log.waitFor(ANDROID_LOG_ERROR,
                std::string("serialAtCmd: last read buffer value: [") + GetParam().second + "\n]",
                at);
}

INSTANTIATE_TEST_SUITE_P(SecondAndThird, LaterPollTest,
                         testing::Values(std::pair(1, ""), std::pair(2, "BV330-V10k_20210312")),
                         [](const auto& info) { return info.index == 0 ? "Second" : "Third"; });

TEST_F(InterpositionTest, AFailedReadEndsTheCommand) {
    start();
    attach();
    onRead = [](char*) -> ssize_t {
        errno = EIO;
        return -1;
    };
    const Result result = send("AT%SWV\r");
    EXPECT_EQ(result.value, -1);
    EXPECT_EQ(result.error, EIO);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "serialAtCmd: failed to read: Input/output error"));
}

TEST_F(InterpositionTest, AnEmptyReadIsAnEmptyLine) {
    start();
    attach();
    onRead = [](char*) -> ssize_t { return 0; };
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
    EXPECT_TRUE(log.contains(ANDROID_LOG_INFO, ""));
}

TEST_F(InterpositionTest, AFailedWriteEndsTheCommand) {
    start();
    attach();
    const uint64_t from = journal.next();
    onWrite = []() -> ssize_t {
        errno = EIO;
        return -1;
    };
    const Result result = send("AT%SWV\r");
    EXPECT_EQ(result.value, -1);
    EXPECT_EQ(result.error, EIO);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "serialAtCmd: failed to write [AT%SWV]"));
    // The vote is withdrawn.
    journal.waitFor(phone::is(phone::Kind::NodeWrite, "auto"), from);
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

// No file system of today holds such a name.
TEST_F(InterpositionTest, AnImagesNameThatDoesNotFitEndsTheSearch) {
    start();
    attach();
    alignas(dirent) char entry[sizeof(dirent) + 1024] = {};
    const std::string name = std::string(1020, 'x') + ".dfu";
    memcpy(entry + offsetof(dirent, d_name), name.c_str(), name.size() + 1);
    onReadFolder = [&] { return reinterpret_cast<dirent*>(entry); };
    log.clear();
    EXPECT_EQ(service->checkFirmwareVersion(), Status::FAIL);
    EXPECT_EQ(onReadFolder, nullptr);
    EXPECT_FALSE(log.contains("getDFUFile: There is no matching firmware"));
    EXPECT_FALSE(log.contains("checkFirmwareVersion: doFirmwareUpgrade not called"));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
