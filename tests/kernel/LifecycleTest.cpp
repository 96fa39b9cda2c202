// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Construction, SIGUSR1, destruction.
#include <csignal>
#include <thread>

#include <unistd.h>

#include "tests/kernel/ServiceTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using phone::Kind;

using LifecycleTest = ServiceTest;

constexpr char kRule[] = "================================================";

TEST_F(LifecycleTest, LogsItsBannerFirst) {
    start();
    const std::vector<support::LogLine> lines = log.lines();
    ASSERT_GE(lines.size(), 3u);
    const std::string tag = "vendor.qmx.hardware.bivista@1.1-service";
    EXPECT_EQ(lines[0], (support::LogLine{ANDROID_LOG_DEBUG, tag, kRule}));
    EXPECT_EQ(lines[1], (support::LogLine{ANDROID_LOG_DEBUG, tag,
                                          "========== Bivista HAL Constructor =========="}));
    EXPECT_EQ(lines[2], (support::LogLine{ANDROID_LOG_DEBUG, tag, kRule}));
}

TEST_F(LifecycleTest, StartsBothUsbThreads) {
    start();
    log.waitFor(ANDROID_LOG_DEBUG, "usbNotifyThread: creating");
    log.waitFor(ANDROID_LOG_DEBUG, "usbThread: creating");
}

TEST_F(LifecycleTest, TheHandlerStopsTheUsbSide) {
    start();
    Bivista::sighandler(SIGUSR1);
    EXPECT_TRUE(log.contains("usbThread: exiting"));
    EXPECT_TRUE(log.contains("usbNotifyThread: exiting"));
    EXPECT_EQ(log.lines().back().text, "destroy set");
    EXPECT_EQ(log.lines().back().priority, ANDROID_LOG_DEBUG);
}

TEST_F(LifecycleTest, TheNotifyThreadEndsAsAfterAFailedRead) {
    start();
    Bivista::sighandler(SIGUSR1);
    const size_t at = log.waitFor("usbNotifyThread: failed to read notify: Bad file descriptor");
    log.waitFor("usbNotifyThread: exiting", at);
}

TEST_F(LifecycleTest, ASecondSignalOnlySaysSo) {
    start();
    Bivista::sighandler(SIGUSR1);
    const size_t mark = log.size();
    Bivista::sighandler(SIGUSR1);
    EXPECT_EQ(log.size(), mark + 1);
    EXPECT_EQ(log.lines().back().text, "destroy set");
}

// Whichever thread takes the signal: both have ended when the handler logs it.
TEST_F(LifecycleTest, ASignalToTheProcessStopsBothThreadsFirst) {
    start();
    ASSERT_EQ(kill(getpid(), SIGUSR1), 0);
    const size_t at = log.waitFor(ANDROID_LOG_DEBUG, "destroy set");
    EXPECT_TRUE(log.contains("usbThread: exiting"));
    EXPECT_TRUE(log.contains("usbNotifyThread: exiting"));
    EXPECT_EQ(log.size(), at);
}

TEST_F(LifecycleTest, ASecondSignalToTheProcessIsTakenToo) {
    start();
    ASSERT_EQ(kill(getpid(), SIGUSR1), 0);
    const size_t at = log.waitFor("destroy set");
    ASSERT_EQ(kill(getpid(), SIGUSR1), 0);
    EXPECT_EQ(log.waitFor("destroy set", at), at + 1);
}

// An attach whose first command takes its time.
class SlowAttachTest : public ServiceTest {
  protected:
    void SetUp() override {
        start();
        phone.faults.set("on ATE0 late 500ms times 1");
        phone.cover.attach(support::withoutPanel());
        journal.waitFor(phone::is(Kind::TtyRx, "ATE0\r"), first);
    }
    // The line after the attach and the end of its thread.
    size_t awaitEnd() const {
        return log.waitFor("usbNotifyThread: exiting", log.waitForPrefix("status = "));
    }
};

TEST_F(SlowAttachTest, EndsBeforeASignalToTheProcessIsAnswered) {
    ASSERT_EQ(kill(getpid(), SIGUSR1), 0);
    log.waitFor("destroy set", awaitEnd());
    EXPECT_EQ(log.count("destroy set"), 1u);
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

TEST_F(SlowAttachTest, EndsBeforeASecondSignalIsAnsweredEither) {
    std::thread other([] { Bivista::sighandler(SIGUSR1); });
    Bivista::sighandler(SIGUSR1);
    other.join();
    log.waitFor("destroy set", log.waitFor("destroy set", awaitEnd()));
    EXPECT_EQ(log.count("destroy set"), 2u);
}

TEST_F(LifecycleTest, ASignalDuringAnExchangeDoesNotDisturbIt) {
    start();
    attach();
    phone.faults.set("on AT%SWV late 500ms times 1");
    const uint64_t from = journal.next();
    std::thread client([&] { EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312"); });
    journal.waitFor(phone::is(Kind::TtyRx, "AT%SWV\r"), from);
    ASSERT_EQ(kill(getpid(), SIGUSR1), 0);
    client.join();
    log.waitFor("destroy set");
}

TEST_F(LifecycleTest, AfterTheSignalNobodyWatchesAnyMore) {
    start();
    attach();
    Bivista::sighandler(SIGUSR1);
    phone.cover.detach();
    // The flag is frozen: commands fail at the open.
    const Result result = send("AT%SWV\r");
    EXPECT_EQ(result.value, -1);
    EXPECT_EQ(result.error, ENOENT);
    EXPECT_TRUE(
            log.contains("serialAtCmd: failed to open \"/dev/ttyACM0\": No such file or "
                         "directory"));
}

TEST_F(LifecycleTest, AnotherSignalOnlyInstallsTheHandlerAgain) {
    start();
    signal(SIGUSR1, SIG_IGN);
    const size_t mark = log.size();
    Bivista::sighandler(SIGUSR2);
    EXPECT_EQ(log.size(), mark);
    struct sigaction action = {};
    ASSERT_EQ(sigaction(SIGUSR1, nullptr, &action), 0);
    EXPECT_EQ(action.sa_handler, &Bivista::sighandler);
}

// The destructor joins nothing, so the threads are stopped first.
TEST_F(LifecycleTest, CanBeDestroyedOnceItsThreadsAreGone) {
    start();
    Bivista::sighandler(SIGUSR1);
    const ::android::wp<Bivista> weak = service;
    service->decStrong(nullptr);
    service = nullptr;
    EXPECT_EQ(weak.promote(), nullptr);
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
