// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a healthy kernel does not do to the uevent worker: calls that fail, and messages that it
// never sends. The calls of this program go through the functions below (linker option --wrap).
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <functional>
#include <optional>

#include <cutils/uevent.h>
#include <fcntl.h>
#include <sys/epoll.h>
#include <unistd.h>

#include "display/UeventMonitor.h"
#include "tests/display/WorkerTest.h"
#include "tests/kernel/DumpReader.h"
#include "tests/support/Interposition.h"

namespace {

// What the wrapped calls do instead; null or none: what they always do. To be set while no worker
// runs but on the test's thread.
std::function<int(int size, bool credentials)> onOpenSocket;
std::function<int(int flags)> onSetFlags;
std::function<int(int size)> onEpollCreate;
std::function<int(const epoll_event* event)> onEpollControl;
// None: the wait goes through.
std::function<std::optional<int>(epoll_event* events, int count, int timeout)> onWait;
std::function<int()> onKill;
std::function<void()> onJoin;
// The next message of the calling thread.
thread_local std::optional<std::string> message;

}  // namespace

extern "C" {

int __real_uevent_open_socket(int size, bool credentials);
int __wrap_uevent_open_socket(int size, bool credentials) {
    return onOpenSocket ? onOpenSocket(size, credentials)
                        : __real_uevent_open_socket(size, credentials);
}

ssize_t __real_uevent_kernel_multicast_recv(int socket, void* buffer, size_t length);
ssize_t __wrap_uevent_kernel_multicast_recv(int socket, void* buffer, size_t length) {
    if (!message) return __real_uevent_kernel_multicast_recv(socket, buffer, length);
    const size_t count = std::min(length, message->size());
    memcpy(buffer, message->data(), count);
    return static_cast<ssize_t>(count);
}

int __real_fcntl(int fd, int command, ...);
int __wrap_fcntl(int fd, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    const long argument = va_arg(arguments, long);
    va_end(arguments);
    if (onSetFlags && command == F_SETFL) return onSetFlags(static_cast<int>(argument));
    return __real_fcntl(fd, command, argument);
}

int __real_epoll_create(int size);
int __wrap_epoll_create(int size) {
    return onEpollCreate ? onEpollCreate(size) : __real_epoll_create(size);
}

int __real_epoll_ctl(int epoll, int operation, int fd, epoll_event* event);
int __wrap_epoll_ctl(int epoll, int operation, int fd, epoll_event* event) {
    return onEpollControl ? onEpollControl(event) : __real_epoll_ctl(epoll, operation, fd, event);
}

int __real_epoll_pwait(int epoll, epoll_event* events, int count, int timeout,
                       const sigset_t* signals);
int __wrap_epoll_pwait(int epoll, epoll_event* events, int count, int timeout,
                       const sigset_t* signals) {
    const std::optional<int> result = onWait ? onWait(events, count, timeout) : std::nullopt;
    return result ? *result : __real_epoll_pwait(epoll, events, count, timeout, signals);
}

int __real_pthread_kill(pthread_t thread, int signal);
int __wrap_pthread_kill(pthread_t thread, int signal) {
    return onKill ? onKill() : __real_pthread_kill(thread, signal);
}

int __real_pthread_join(pthread_t thread, void** result);
int __wrap_pthread_join(pthread_t thread, void** result) {
    if (onJoin) onJoin();
    return __real_pthread_join(thread, result);
}
}

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using namespace std::string_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

template <typename... Arguments>
auto failing(int error) {
    return [error](Arguments...) {
        errno = error;
        return -1;
    };
}

size_t openDescriptors() {
    size_t count = 0;
    for (int fd = 0; fd < 1024; ++fd) {
        if (__real_fcntl(fd, F_GETFD) != -1) ++count;
    }
    return count;
}

// The worker's body on the test's own thread, which has the process to itself: no other thread
// opens descriptors.
class WorkerInterpositionTest : public WorkerTest {
  protected:
    ~WorkerInterpositionTest() override {
        onOpenSocket = nullptr;
        onSetFlags = nullptr;
        onEpollCreate = nullptr;
        onEpollControl = nullptr;
        onWait = nullptr;
    }
    // Runs it to its end. Its log lines, each with its priority in front.
    std::vector<std::string> runWorker() {
        const size_t before = openDescriptors();
        EXPECT_EQ(work(nullptr), nullptr);
        EXPECT_EQ(openDescriptors(), before) << "descriptors are left";
        std::vector<std::string> lines;
        for (const support::LogLine& line : log.lines()) {
            lines.push_back(std::to_string(line.priority) + " " + line.text);
        }
        return lines;
    }
};

TEST_F(WorkerInterpositionTest, EndsWithoutASocket) {
    onOpenSocket = failing<int, bool>(EMFILE);
    EXPECT_THAT(runWorker(),
                ElementsAre("6 creating thread", "6 uevent_init: uevent_open_socket failed\n"));
}

TEST_F(WorkerInterpositionTest, EndsWhenTheSocketWouldBlock) {
    onSetFlags = failing<int>(EBADF);
    EXPECT_THAT(runWorker(), ElementsAre("6 creating thread", "6 fcntl failed\n"));
}

TEST_F(WorkerInterpositionTest, EndsWithoutEpoll) {
    onEpollCreate = failing<int>(EMFILE);
    EXPECT_THAT(runWorker(), ElementsAre("6 creating thread", "6 epoll_create failed; errno=24"));
}

TEST_F(WorkerInterpositionTest, EndsWhenTheSocketCannotBeWatched) {
    onEpollControl = failing<const epoll_event*>(ENOSPC);
    EXPECT_THAT(runWorker(), ElementsAre("6 creating thread", "6 epoll_ctl failed; errno=28"));
}

TEST_F(WorkerInterpositionTest, EndsWhenItsWaitFails) {
    onWait = failing<epoll_event*, int, int>(EBADF);
    EXPECT_THAT(runWorker(), ElementsAre("6 creating thread", "6 lpwg epoll_wait failed; errno=9",
                                         "4 exiting worker thread"));
}

TEST_F(WorkerInterpositionTest, WaitsAgainAfterASignal) {
    int waits = 0;
    onWait = [&](epoll_event*, int, int) {
        errno = ++waits < 3 ? EINTR : EBADF;
        return -1;
    };
    EXPECT_THAT(runWorker(), Contains("6 lpwg epoll_wait failed; errno=9").Times(1));
    EXPECT_EQ(waits, 3);
}

TEST_F(WorkerInterpositionTest, EndsBeforeItsFirstWaitWhenItIsTold) {
    sWorkerExit = true;
    onWait = [](epoll_event*, int, int) -> int { abort(); };
    EXPECT_THAT(runWorker(), ElementsAre("6 creating thread", "4 exiting worker thread"));
}

TEST_F(WorkerInterpositionTest, EndsBehindAWaitWhenItIsTold) {
    onWait = [](epoll_event*, int, int) {
        sWorkerExit = true;
        errno = EINTR;
        return -1;
    };
    EXPECT_THAT(runWorker(), ElementsAre("6 creating thread", "4 exiting worker thread"));
}

TEST_F(WorkerInterpositionTest, CallsNobodyForAnEventWithoutAHandler) {
    message = "SUBSYSTEM=QMX_BV2\0"s;
    int waits = 0;
    onWait = [&](epoll_event* events, int, int) {
        if (++waits == 2) {
            errno = EBADF;
            return -1;
        }
        events[0].events = EPOLLIN;
        return 1;
    };
    EXPECT_THAT(runWorker(), ElementsAre("6 creating thread", "6 lpwg epoll_wait failed; errno=9",
                                         "4 exiting worker thread"));
    message.reset();
}

TEST_F(WorkerInterpositionTest, AsksForWhatItNeeds) {
    int size = 0;
    bool credentials = false;
    int flags = 0;
    int hint = 0;
    uint32_t events = 0;
    const void* handler = nullptr;
    onOpenSocket = [&](int itsSize, bool itsCredentials) {
        size = itsSize;
        credentials = itsCredentials;
        return __real_uevent_open_socket(itsSize, itsCredentials);
    };
    onSetFlags = [&](int itsFlags) { return flags = itsFlags, 0; };
    onEpollCreate = [&](int itsHint) {
        hint = itsHint;
        return __real_epoll_create(itsHint);
    };
    onEpollControl = [&](const epoll_event* event) {
        events = event->events;
        handler = event->data.ptr;
        return 0;
    };
    onWait = [&](epoll_event* ready, int count, int timeout) {
        EXPECT_EQ(count, 64);
        EXPECT_EQ(timeout, -1);
        EXPECT_EQ(std::count_if(ready, ready + count,
                                [](const epoll_event& event) {
                                    return event.events == 0 && event.data.ptr == nullptr;
                                }),
                  64);
        errno = EBADF;
        return -1;
    };
    runWorker();
    EXPECT_EQ(size, 65536);
    EXPECT_TRUE(credentials);
    EXPECT_EQ(flags, O_NONBLOCK);
    EXPECT_EQ(hint, 64);
    EXPECT_EQ(events, static_cast<uint32_t>(EPOLLIN));
    EXPECT_NE(handler, nullptr);
}

// Messages as they come out of the socket, handled on the test's own thread.
class MessageTest : public WorkerTest {
  protected:
    void SetUp() override {
        start();
        client = new LpwgClient1_1;
        registerClient(client);
    }
    // The lines that it made.
    std::vector<std::string> handle(const std::string& bytes) {
        log.clear();
        message = bytes;
        data record = {-1, service.get(), {}};
        uevent_event(EPOLLIN, &record);
        message.reset();
        return ownLines();
    }
    // An event whose message has this size, its last string unterminated.
    static std::string eventOfSize(size_t size) {
        const std::string head = "SUBSYSTEM=QMX_BV2\0TOUCH_GESTURE_WAKEUP=WAKEUP\0"s;
        return head + std::string(size - head.size(), 'x');
    }
    sp<LpwgClient1_1> client;
};

TEST_F(MessageTest, ThatIsEmptyIsIgnored) {
    EXPECT_THAT(handle(""), IsEmpty());
}

TEST_F(MessageTest, OfNulsIsIgnored) {
    EXPECT_THAT(handle("\0"s), IsEmpty());
    EXPECT_THAT(handle(std::string(2047, '\0')), IsEmpty());
}

TEST_F(MessageTest, OfOneByteIsTaken) {
    EXPECT_THAT(handle("x"), IsEmpty());
}

TEST_F(MessageTest, WithoutAFinalNulIsTaken) {
    EXPECT_THAT(handle("SUBSYSTEM=QMX_BV2\0TOUCH_GESTURE_WAKEUP=WAKEUP"s),
                ElementsAre("uevent received SUBSYSTEM=QMX_BV2",
                            "cp1 = TOUCH_GESTURE_WAKEUP=WAKEUP", "Uevent_msg = WAKEUP"));
    EXPECT_THAT(client->calls(), ElementsAre(LpwgCall{1, 0, 0}));
}

TEST_F(MessageTest, OfTheSubsystemAloneIsOnlyLogged) {
    EXPECT_THAT(handle("change@/bv2\0SUBSYSTEM=QMX_BV2\0"s),
                ElementsAre("uevent received SUBSYSTEM=QMX_BV2"));
    EXPECT_THAT(client->calls(), IsEmpty());
}

TEST_F(MessageTest, Of2047BytesIsHandled) {
    handle(eventOfSize(2047));
    EXPECT_THAT(client->calls(), ElementsAre(LpwgCall{1, 0, 0}));
}

TEST_F(MessageTest, ThatIsOneString2047BytesLongIsHandled) {
    const std::string text = "SUBSYSTEM=QMX_BV2" + std::string(2047 - 17, 'x');
    // The log cuts what is longer than a line.
    EXPECT_THAT(handle(text), ElementsAre(("uevent received " + text).substr(0, 1023)));
}

// A message of that size may have lost its end.
TEST_F(MessageTest, Of2048BytesIsDropped) {
    EXPECT_THAT(handle(eventOfSize(2048)), IsEmpty());
    EXPECT_THAT(handle(eventOfSize(9000)), IsEmpty());
    EXPECT_THAT(client->calls(), IsEmpty());
}

class NoClientTest : public MessageTest {
  protected:
    void SetUp() override { start(); }
};

// Meant: not even the service's own events are carried out.
TEST_F(NoClientTest, NothingButTheSubsystemIsLookedAt) {
    for (const char* name : {"WAKEUP", "SWITCH_AES_BOTH", "SWITCH_AES_TO_1", "BV_UPDATE_STATE"}) {
        EXPECT_THAT(handle("SUBSYSTEM=QMX_BV2\0TOUCH_GESTURE_WAKEUP="s + name +
                           "\0SUBSYSTEM=QMX_BV2\0A=1\0"s),
                    ElementsAre("uevent received SUBSYSTEM=QMX_BV2"));
        EXPECT_EQ(eventsButUsbOf(*service).back(), "lpwgEvent "s + name + " [0] no callback");
    }
    EXPECT_THAT(nodeWrites(first), IsEmpty());
    const size_t events = eventsButUsbOf(*service).size();
    handle("SUBSYSTEM=QMX_BV2\0A=1\0"s);
    handle("SUBSYSTEM=QMX_BV2\0"s);
    EXPECT_EQ(eventsButUsbOf(*service).size(), events) << "these name no event";
}

class LpwgInterpositionTest : public WorkerTest {
  protected:
    void SetUp() override {
        start();
        log.clear();
    }
};

TEST_F(LpwgInterpositionTest, AWorkerThatCannotBeStartedLeavesNoClient) {
    support::onThreadCreate = [](support::ThreadBody) {
        errno = ENOMEM;
        return EAGAIN;
    };
    service->setLpwgCallback(new LpwgClient1_1);
    support::onThreadCreate = nullptr;
    // Meant: errno, not the result.
    EXPECT_THAT(ownLines(), ElementsAre("Registering 1.1 callback", "registering callback",
                                        "pthread creation failed 12"));
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "pthread creation failed 12"));
    EXPECT_THAT(eventsButUsbOf(*service, 1),
                ElementsAre("callback lpwg registered",
                            "failure setLpwgCallback pthread creation failed",
                            "callback lpwg cleared"));
    EXPECT_EQ(service->lpwgCallback(), nullptr);
    // The next client is a first one again.
    const sp<LpwgClient1_1> client = new LpwgClient1_1;
    registerClient(client);
    raiseEvent("WAKEUP");
    handled();
    EXPECT_THAT(client->calls(), ElementsAre(LpwgCall{1, 0, 0}));
}

TEST_F(LpwgInterpositionTest, AWorkerThatCannotBeSignalledIsNotWaitedFor) {
    registerClient(new LpwgClient1_1);
    onKill = [] { return ESRCH; };
    service->setLpwgCallback(nullptr);
    onKill = nullptr;
    EXPECT_THAT(ownLines(), ElementsAre("registering callback"));
    EXPECT_EQ(service->lpwgCallback(), nullptr);
}

// Has the worker's wait go through this many times and then fail.
void failWaitsBehind(int waits) {
    onWait = [=, made = 0](epoll_event*, int, int) mutable -> std::optional<int> {
        if (made++ < waits) return std::nullopt;
        errno = EBADF;
        return -1;
    };
}

TEST_F(LpwgInterpositionTest, ClearingReturnsWhenTheWaitBehindTheSignalFails) {
    failWaitsBehind(1);
    service->setLpwgCallback(new LpwgClient1_1);
    log.waitFor("creating thread");
    service->setLpwgCallback(nullptr);
    size_t at = log.waitFor("destroy set");
    at = log.waitFor("lpwg epoll_wait failed; errno=9", at);
    at = log.waitFor("exiting worker thread", at);
    log.waitFor(ANDROID_LOG_INFO, "pthread destroyed", at);
}

TEST_F(LpwgInterpositionTest, TheSignalOfClearingStopsTheUsbSideOnTheWorker) {
    failWaitsBehind(1);
    std::atomic<int> joins = 0;
    std::atomic<int> joinsOfWorker = 0;
    onJoin = [&, client = pthread_self()] {
        ++joins;
        char name[16] = {};
        pthread_getname_np(pthread_self(), name, sizeof(name));
        if (pthread_self() != client && name == std::string("uevent-worker")) ++joinsOfWorker;
    };
    service->setLpwgCallback(new LpwgClient1_1);
    log.waitFor("creating thread");
    service->setLpwgCallback(nullptr);
    onJoin = nullptr;
    // The client's call joins the worker, which has joined the notify thread and the USB thread.
    EXPECT_EQ(joins, 3);
    EXPECT_EQ(joinsOfWorker, 2);
}

// As the phone's C library has it: a worker that ended can no longer be signalled.
TEST_F(LpwgInterpositionTest, AWorkerThatEndedIsNotJoinedWhereItCannotBeSignalled) {
    failWaitsBehind(0);
    service->setLpwgCallback(new LpwgClient1_1);
    log.waitFor("exiting worker thread");
    onKill = [] { return ESRCH; };
    service->setLpwgCallback(nullptr);
    onKill = nullptr;
    EXPECT_FALSE(log.contains("pthread destroyed"));
    // Nor is the USB side stopped.
    EXPECT_FALSE(log.contains("destroy set"));
    EXPECT_EQ(service->lpwgCallback(), nullptr);
}

// As glibc has it: signalling a thread that ended and was not joined succeeds.
TEST_F(LpwgInterpositionTest, AWorkerThatEndedLeavesItsClientAndIsJoinedByClearing) {
    failWaitsBehind(0);
    service->setLpwgCallback(new LpwgClient1_1);
    log.waitFor("exiting worker thread");
    EXPECT_NE(service->lpwgCallback(), nullptr);
    // Meant: a further client starts no new worker.
    service->setLpwgCallback(new LpwgClient1_1);
    EXPECT_EQ(log.count("creating thread"), 1u);
    service->setLpwgCallback(nullptr);
    EXPECT_TRUE(log.contains("pthread destroyed"));
    EXPECT_EQ(eventsButUsbOf(*service).back(), "callback lpwg cleared");
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
