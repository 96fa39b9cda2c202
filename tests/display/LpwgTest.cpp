// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Settings for low-power wake gestures, and the life of the client's callback.
#include "display/Lpwg.h"

#include <atomic>
#include <csignal>
#include <thread>

#include <unistd.h>

#include "tests/display/WorkerTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

using LpwgStatusTest = AttachedTest;

TEST_F(LpwgStatusTest, GoesToTheCoverAsTwoNumbers) {
    EXPECT_EQ(service->setStatus({1, 0}), Status::OK);
    EXPECT_THAT(commands(from), ElementsAre("AT%TCHNOTIFY=LPWG_NOTIFY,1,0\r"));
    EXPECT_EQ(phone.cover.state().touch.lpwg.at(1), 0);
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "setStatus: AT%TCHNOTIFY=LPWG_NOTIFY,1,0\r "));
}

TEST_F(LpwgStatusTest, IsNeitherInterpretedNorClamped) {
    EXPECT_EQ(service->setStatus({-5, INT32_MAX}), Status::OK);
    EXPECT_EQ(service->setStatus({INT32_MIN, INT32_MIN}), Status::OK);
    EXPECT_THAT(commands(from), ElementsAre("AT%TCHNOTIFY=LPWG_NOTIFY,-5,2147483647\r",
                                            "AT%TCHNOTIFY=LPWG_NOTIFY,-2147483648,-2147483648\r"));
}

TEST_F(LpwgStatusTest, LogsTheAnswerAndDoesNotLookAtIt) {
    phone.faults.set(R"(on AT%TCHNOTIFY answer "\r\nno\r\nOK\r\n")");
    EXPECT_EQ(service->setStatus({1, 0}), Status::OK);
    EXPECT_TRUE(log.contains("setStatus: AT%TCHNOTIFY=LPWG_NOTIFY,1,0\r no"));
}

TEST_F(LpwgStatusTest, FailsWhenTheCoverRefuses) {
    phone.faults.set("on AT%TCHNOTIFY error");
    EXPECT_EQ(service->setStatus({1, 0}), Status::FAIL);
    EXPECT_FALSE(log.contains("setStatus: AT%TCHNOTIFY=LPWG_NOTIFY,1,0\r "));
}

TEST_F(LpwgStatusTest, FailsWithoutACover) {
    detach();
    EXPECT_EQ(service->setStatus({1, 0}), Status::FAIL);
}

TEST_F(LpwgStatusTest, TakesAHangUpForSuccess) {
    phone.faults.set("on AT%TCHNOTIFY hangup");
    EXPECT_EQ(service->setStatus({1, 0}), Status::OK);
}

class LpwgCallbackTest : public WorkerTest {
  protected:
    void SetUp() override { start(); }
};

TEST_F(LpwgCallbackTest, OfVersion1_1IsRegisteredAsSuch) {
    service->setLpwgCallback(new LpwgClient1_1);
    const size_t at = log.waitFor(ANDROID_LOG_DEBUG, "Registering 1.1 callback");
    log.waitFor(ANDROID_LOG_INFO, "registering callback", at);
}

TEST_F(LpwgCallbackTest, OfVersion1_0IsRegisteredAsSuch) {
    service->setLpwgCallback(new LpwgClient1_0);
    const size_t at = log.waitFor(ANDROID_LOG_DEBUG, "Registering 1.0 callback");
    log.waitFor(ANDROID_LOG_INFO, "registering callback", at);
}

TEST_F(LpwgCallbackTest, IsReplacedWithoutASecondWorker) {
    const sp<LpwgClient1_1> client = new LpwgClient1_1;
    registerClient(client);
    service->setLpwgCallback(client);
    const sp<LpwgClient1_0> next = new LpwgClient1_0;
    service->setLpwgCallback(next);
    raiseEvent("WAKEUP");
    handled();
    EXPECT_THAT(client->calls(), IsEmpty());
    EXPECT_THAT(next->calls(), ElementsAre(LpwgCall{0, 0, 0}));
    EXPECT_TRUE(log.contains("Registering 1.0 callback"));
    EXPECT_FALSE(log.contains("registering callback"));
    EXPECT_FALSE(log.contains("creating thread"));
}

TEST_F(LpwgCallbackTest, IsReleasedWhenItIsReplaced) {
    sp<LpwgClient1_1> client = new LpwgClient1_1;
    const ::android::wp<LpwgClient1_1> weak = client;
    registerClient(client);
    raiseEvent("WAKEUP");
    handled();
    client = nullptr;
    EXPECT_NE(weak.promote(), nullptr);
    service->setLpwgCallback(new LpwgClient1_1);
    // The worker gives it up after its last line.
    while (weak.promote() != nullptr) usleep(1000);
}

TEST_F(LpwgCallbackTest, ThatIsNotThereCannotBeCleared) {
    log.clear();
    EXPECT_TRUE(service->setLpwgCallback(nullptr).isOk());
    EXPECT_THAT(ownLines(), IsEmpty());
}

TEST_F(LpwgCallbackTest, PutsTheStopSignalsHandlerBack) {
    signal(SIGUSR1, SIG_IGN);
    service->setLpwgCallback(new LpwgClient1_1);
    struct sigaction action = {};
    ASSERT_EQ(sigaction(SIGUSR1, nullptr, &action), 0);
    EXPECT_EQ(action.sa_handler, &Bivista::sighandler);
}

// Meant: clearing stops the USB side, and never returns, since the worker waits on.
TEST_F(LpwgCallbackTest, ThatIsClearedStopsTheUsbSideAndKeepsItsClientWaiting) {
    // The USB thread is where it can be joined.
    phone.loader.attach();
    log.waitFor("usbDeviceAdded : normal dload mode");
    const sp<LpwgClient1_1> client = new LpwgClient1_1;
    registerClient(client);
    // Both outlive the test: the thread waits until the process ends.
    static std::atomic<bool> returned = false;
    std::thread([service = service] {
        (void)service->setLpwgCallback(nullptr).isOk();
        returned = true;
    }).detach();
    const size_t at = log.waitFor(ANDROID_LOG_INFO, "registering callback");
    log.waitFor(ANDROID_LOG_DEBUG, "destroy set", at);
    EXPECT_TRUE(log.contains("usbNotifyThread: exiting"));
    EXPECT_TRUE(log.contains("usbThread: exiting"));
    // Whoever comes after waits too.
    static std::atomic<bool> nextReturned = false;
    const sp<LpwgClient1_1> next = new LpwgClient1_1;
    std::thread([service = service, next] {
        (void)service->setLpwgCallback(next).isOk();
        nextReturned = true;
    }).detach();
    log.waitFor("Registering 1.1 callback", at);

    // The worker listens on, and has nobody to tell.
    const size_t cleared = log.size();
    raiseEvent("WAKEUP");
    raiseEvent("BV_UPDATE_STATE");
    const size_t first = log.waitFor("uevent received SUBSYSTEM=QMX_BV2", cleared);
    log.waitFor("uevent received SUBSYSTEM=QMX_BV2", first);
    raise({"SUBSYSTEM=QMX_BV2 last"});
    log.waitFor("uevent received SUBSYSTEM=QMX_BV2 last", first);
    EXPECT_THAT(client->calls(), IsEmpty());
    EXPECT_FALSE(log.contains("cp1 = TOUCH_GESTURE_WAKEUP=WAKEUP"));
    EXPECT_FALSE(log.contains("status = 1"));
    EXPECT_FALSE(log.contains("exiting worker thread"));
    EXPECT_FALSE(log.contains("pthread destroyed"));
    EXPECT_THAT(next->calls(), IsEmpty());
    EXPECT_FALSE(returned);
    EXPECT_FALSE(nextReturned);
}

// The handler would stop the USB side in the middle of whatever the worker does.
TEST_F(LpwgCallbackTest, IsCalledWithTheStopSignalBlocked) {
    class Client : public LpwgClient1_1 {
      public:
        Return<void> onLpwgEvent_1_1(LpwgEventStatus status, int32_t result) override {
            sigset_t signals;
            pthread_sigmask(SIG_SETMASK, nullptr, &signals);
            isBlocked = sigismember(&signals, SIGUSR1) == 1;
            return LpwgClient1_1::onLpwgEvent_1_1(status, result);
        }
        std::atomic<bool> isBlocked = false;
    };
    const sp<Client> client = new Client;
    registerClient(client);
    raiseEvent("WAKEUP");
    handled();
    EXPECT_THAT(client->calls(), ElementsAre(LpwgCall{1, 0, 0}));
    EXPECT_TRUE(client->isBlocked);
}

// Every event reaches the client of its moment.
TEST_F(LpwgCallbackTest, IsReplacedWhileEventsArrive) {
    std::vector<sp<LpwgClient1_1>> clients = {new LpwgClient1_1};
    registerClient(clients.back());
    std::thread changing([&] {
        for (int i = 0; i < 500; ++i) {
            clients.push_back(new LpwgClient1_1);
            EXPECT_TRUE(service->setLpwgCallback(clients.back()).isOk());
        }
    });
    constexpr int kRounds = 10;
    constexpr int kEvents = 20;
    int delivered = 0;
    for (int round = 0; round < kRounds; ++round) {
        for (int i = 0; i < kEvents; ++i) raiseEvent("WAKEUP");
        for (const std::string& line : handled()) delivered += line == "Uevent_msg = WAKEUP";
    }
    changing.join();
    EXPECT_EQ(delivered, kRounds * kEvents);
    raiseEvent("WAKEUP");
    handled();
    EXPECT_THAT(clients.back()->calls(), Contains(LpwgCall{1, 0, 0}));
    // None was lost, and none came twice.
    size_t calls = 0;
    for (const sp<LpwgClient1_1>& client : clients) calls += client->calls().size();
    EXPECT_EQ(calls, static_cast<size_t>(kRounds * kEvents + 1));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
