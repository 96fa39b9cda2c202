// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Votes that keep USB awake, and what they write to the power control.
#include <cerrno>
#include <chrono>
#include <thread>

#include "tests/kernel/ServiceTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;

class AutoSuspendTest : public AttachedTest {
  protected:
    // The log lines of votes. The threads of the attach may still add lines.
    std::vector<support::LogLine> lines() const {
        std::vector<support::LogLine> found;
        for (support::LogLine& line : log.lines()) {
            if (line.text.starts_with("usbAutoSuspend: ")) found.push_back(std::move(line));
        }
        return found;
    }
    // The entry of the kernel's suspending the cover, or of its waking it.
    phone::Entry awaitPower(const std::string& note, uint64_t seq) const {
        return journal.waitFor(
                [&](const phone::Entry& entry) {
                    return entry.kind == phone::Kind::UsbPower && entry.note == note;
                },
                seq);
    }
    int vote() { return service->usbAutoSuspend(false, true); }
    int withdraw() { return service->usbAutoSuspend(true, true); }
};

TEST_F(AutoSuspendTest, WritesOnlyWhenTheCountCrossesZero) {
    EXPECT_EQ(vote(), 2);
    EXPECT_EQ(vote(), 0);
    EXPECT_EQ(withdraw(), 0);
    EXPECT_EQ(withdraw(), 4);
    EXPECT_THAT(nodeWrites(from), ElementsAre("control=on", "control=auto"));
}

TEST_F(AutoSuspendTest, LogsTheCountBeforeTheChange) {
    vote();
    withdraw();
    EXPECT_THAT(lines(), ElementsAre(debugLine("usbAutoSuspend: suspend:0 vote:1 disableVote:0"),
                                     debugLine("usbAutoSuspend: on"),
                                     debugLine("usbAutoSuspend: suspend:1 vote:1 disableVote:1"),
                                     debugLine("usbAutoSuspend: auto")));
}

TEST_F(AutoSuspendTest, WithdrawalWithoutAVoteWritesAutoAllTheSame) {
    EXPECT_EQ(withdraw(), 4);
    EXPECT_EQ(withdraw(), 4);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR,
                             "usbAutoSuspend: mUsbAutoSuspendDisableVote is negative"));
    EXPECT_TRUE(log.contains("usbAutoSuspend: suspend:1 vote:1 disableVote:0"));
    EXPECT_EQ(vote(), 2) << "the counter stays 0";
    EXPECT_THAT(nodeWrites(from), ElementsAre("control=auto", "control=auto", "control=on"));
}

TEST_F(AutoSuspendTest, ForcingDoesNotTouchTheCount) {
    EXPECT_EQ(service->usbAutoSuspend(false, false), 2);
    EXPECT_EQ(service->usbAutoSuspend(true, false), 4);
    EXPECT_EQ(vote(), 2);
    EXPECT_EQ(service->usbAutoSuspend(true, false), 4);
    EXPECT_EQ(vote(), 0) << "the vote is still counted";
    EXPECT_THAT(nodeWrites(from),
                ElementsAre("control=on", "control=auto", "control=on", "control=auto"));
}

TEST_F(AutoSuspendTest, VotesOfManyThreadsAddUp) {
    constexpr int kThreads = 4;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int k = 0; k < 200; ++k) {
                EXPECT_GE(vote(), 0);
                EXPECT_GE(withdraw(), 0);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_FALSE(log.contains("usbAutoSuspend: mUsbAutoSuspendDisableVote is negative"));
    // The file is written under the counter's lock, so its values alternate and end in "auto".
    const std::vector<std::string> writes = nodeWrites(from);
    ASSERT_FALSE(writes.empty());
    EXPECT_EQ(writes.size() % 2, 0u);
    for (size_t i = 0; i < writes.size(); ++i) {
        ASSERT_EQ(writes[i], i % 2 == 0 ? "control=on" : "control=auto") << i;
    }
    log.clear();
    EXPECT_EQ(vote(), 2);
    EXPECT_EQ(lines().front(), debugLine("usbAutoSuspend: suspend:0 vote:1 disableVote:0"));
}

TEST_F(AutoSuspendTest, AnExchangeInsideAnotherUsersVoteWritesNothing) {
    vote();
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
    EXPECT_THAT(nodeWrites(from), ElementsAre("control=on"));
}

TEST_F(AutoSuspendTest, ReturnsTheFailedOpen) {
    phone.faults.set(std::string("node ") + kPowerControl + " missing");
    EXPECT_EQ(vote(), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR,
                             "usbAutoSuspend: failed to open control: No such file or directory"));
    EXPECT_EQ(vote(), 0) << "the vote counts although it could not be written";
}

TEST_F(AutoSuspendTest, ReturnsTheFailedWrite) {
    phone.faults.set(std::string("node ") + kPowerControl + " eio");
    EXPECT_EQ(vote(), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR,
                             "usbAutoSuspend: failed to write autosuspend: Input/output error"));
}

TEST_F(AutoSuspendTest, AnExchangeGoesOnWithoutItsControlFile) {
    phone.faults.set(std::string("node ") + kPowerControl + " missing");
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

TEST_F(AutoSuspendTest, FailsWithoutATty) {
    detach();
    log.waitFor("========== ttyACM0 delete");
    // The path is cleared after the detach; then the last component of the empty path is ".".
    while (service->usbAutoSuspend(true, false) != -1) {
    }
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(AutoSuspendTest, AVoteLeftByATimeOutIsResetByTheNextAttachment) {
    phone.faults.set("on AT%SWV silent times 1");
    phone.faults.set(std::string("node ") + phone::kRecovery + " missing");
    EXPECT_EQ(send("AT%SWV\r").error, ETIME);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR,
                             "usbRecovery: failed to open mode: No such file or directory"));
    // One vote is left: nothing is written around commands any more.
    EXPECT_GT(send("AT%GETBVCUTOUT\r").value, 0);
    EXPECT_THAT(nodeWrites(from), ElementsAre("control=on"));

    const uint64_t again = journal.next();
    detach();
    attach();
    EXPECT_THAT(nodeWrites(again),
                ElementsAre("virtual_mcu_firmware_write=0", "control=auto", "control=on",
                            "control=auto", "bv2_hal_ready=Y", "control=on", "control=auto",
                            "control=on", "control=auto"));
}

TEST_F(AutoSuspendTest, AnExchangeWakesASuspendedCover) {
    phone.usbPower.setOptions({milliseconds(0), milliseconds(20)});
    const uint64_t asleep = awaitPower("suspended", from).seq;
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
    const phone::Entry woken = awaitPower("resumed", asleep);
    const phone::Entry opened = journal.waitFor(
            [](const phone::Entry& entry) { return entry.kind == phone::Kind::TtyOpen; }, asleep);
    EXPECT_GE(opened.time - woken.time, milliseconds(20)) << "the open waits";
    awaitPower("suspended", opened.seq);
}

TEST_F(AutoSuspendTest, AVoteKeepsTheCoverAwake) {
    phone.usbPower.setOptions({milliseconds(0), milliseconds(0)});
    EXPECT_EQ(vote(), 2);
    journal.waitFor(phone::is(phone::Kind::NodeWrite, "on"), from);
    const uint64_t voted = journal.next();
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
    EXPECT_EQ(phone.usbPower.status(), "active");
    EXPECT_EQ(withdraw(), 4);
    const uint64_t withdrawn =
            journal.waitFor(phone::is(phone::Kind::NodeWrite, "auto"), voted).seq;
    EXPECT_GT(awaitPower("suspended", voted).seq, withdrawn);
}

using UsbDriverTest = ServiceTest;

TEST_F(UsbDriverTest, WritesOneByteToEachNode) {
    start();
    EXPECT_EQ(service->usbReady(), 1);
    EXPECT_EQ(service->usbRecovery(), 1);
    EXPECT_THAT(nodeWrites(first), ElementsAre("bv2_hal_ready=Y", "bv2_recovery=Y"));
}

TEST_F(UsbDriverTest, ReportsNodesThatCannotBeUsed) {
    start();
    phone.faults.set(std::string("node ") + phone::kHalReady + " missing");
    phone.faults.set(std::string("node ") + phone::kRecovery + " eio");
    EXPECT_EQ(service->usbReady(), -1);
    EXPECT_EQ(service->usbRecovery(), -1);
    EXPECT_TRUE(log.contains("usbReady: failed to open mode: No such file or directory"));
    EXPECT_TRUE(log.contains("usbRecovery: failed to write mode: Input/output error"));
}

TEST_F(UsbDriverTest, CreatesNoNode) {
    start();
    phone.files.remove(phone::kHalReady);
    EXPECT_EQ(service->usbReady(), -1);
    EXPECT_FALSE(phone.files.get(phone::kHalReady).has_value());
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
