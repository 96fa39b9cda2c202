// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Switching the cover screen on and off.
#include "display/Display.h"

#include "tests/display/DisplayTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using phone::Kind;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::SizeIs;

constexpr char kNegativeVote[] = "usbAutoSuspend: mUsbAutoSuspendDisableVote is negative";
const std::string kPower = phone::kPowerNode;

// The answer to each of the cover's commands that begins so.
std::string answering(const std::string& prefix, const std::string& lines) {
    return "on " + prefix + " answer \"\\r\\n" + lines + "\\r\\n\"";
}

class PowerTest : public DisplayTest {
  protected:
    Status power(bool enable, bool uevent = false) {
        return service->setPowerStatus(enable, uevent);
    }
};

TEST_F(PowerTest, IsRefusedBeforeAnyAttachment) {
    start();
    log.waitFor("usbThread: creating");
    mark();
    EXPECT_EQ(power(true, false), Status::FAIL);
    EXPECT_EQ(power(false, true), Status::FAIL);
    EXPECT_THAT(lines(),
                ElementsAre(errorLine("setPowerStatus: bv2 not initialized, enable:1, uevent:0"),
                            errorLine("setPowerStatus: bv2 not initialized, enable:0, uevent:1")));
    EXPECT_THAT(nodeWrites(), IsEmpty());
}

TEST_F(PowerTest, IsRefusedAfterADetachUntilTheNextAttach) {
    bringUp();
    powerOn();
    detach();
    mark();
    EXPECT_EQ(power(true), Status::FAIL);
    EXPECT_THAT(lines("setPowerStatus"),
                ElementsAre(errorLine("setPowerStatus: bv2 not initialized, enable:1, uevent:0")));
    EXPECT_THAT(nodeWrites(), IsEmpty());
    attach();
    EXPECT_EQ(power(true), Status::OK);
}

TEST_F(PowerTest, OnSwitchesPollsTellsTheKernelAndVotes) {
    bringUp();
    setHotPlugPolls(2);
    EXPECT_EQ(power(true), Status::OK);
    EXPECT_THAT(commands(),
                ElementsAre("AT%LOGSAVE=3\r", "AT%BV=1\r", "AT%HPD\r", "AT%HPD\r", "AT%HPD\r"));
    EXPECT_THAT(nodeWrites(), ElementsAre("control=on", "control=auto",  // log
                                          "control=on", "control=auto",  // switch
                                          "control=on", "control=auto",  // three polls
                                          "control=on", "control=auto",  //
                                          "control=on", "control=auto",  //
                                          "bv2_pd=1 0",                  //
                                          "control=on"));                // the vote that stays
    EXPECT_THAT(lines(),
                ElementsAre(infoLine("setPowerStatus: Bivista : , ret:0"),
                            infoLine("setPowerStatus:HPD status changed :On, ret:3, trial:2"),
                            debugLine("Writing 1 0 to " + kPower)));
    EXPECT_TRUE(bv2_screen_on);
    EXPECT_TRUE(phone.cover.state().screen.on);
}

TEST_F(PowerTest, OffSwitchesWithdrawsTheVoteAndTellsTheKernel) {
    bringUp();
    powerOn();
    EXPECT_EQ(power(false), Status::OK);
    EXPECT_THAT(commands(), ElementsAre("AT%BV=0\r"));
    EXPECT_THAT(nodeWrites(), ElementsAre("control=auto", "bv2_pd=0 0"));
    EXPECT_THAT(lines(), ElementsAre(infoLine("setPowerStatus: Bivista:"),
                                     debugLine("Writing 0 0 to " + kPower)));
    EXPECT_FALSE(bv2_screen_on);
    EXPECT_FALSE(phone.cover.state().screen.on);
}

TEST_F(PowerTest, ACoverWithItsScreenOnIsNotSuspended) {
    bringUp();
    phone.usbPower.setOptions({.autosuspendDelay = std::chrono::milliseconds(0)});
    powerOn();
    journal.sync();
    EXPECT_EQ(phone.usbPower.status(), "active");
    const uint64_t on = journal.next();
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
    EXPECT_EQ(phone.usbPower.status(), "active");
    const auto isSuspended = [](const phone::Entry& entry) { return entry.note == "suspended"; };
    const uint64_t next = journal.next();
    EXPECT_EQ(power(false), Status::OK);
    EXPECT_GE(journal.waitFor(isSuspended, on).seq, next);
}

TEST_F(PowerTest, TheSecondNumberOfTheNodeIsTheCallers) {
    bringUp();
    setHotPlugPolls(0);
    EXPECT_EQ(power(true, true), Status::OK);
    EXPECT_EQ(power(false, true), Status::OK);
    EXPECT_THAT(nodeWrites(), IsSupersetOf({"bv2_pd=1 1", "bv2_pd=0 1"}));
}

TEST_F(PowerTest, TheAnswersAreLogged) {
    bringUp();
    setHotPlugPolls(0);
    phone.faults.set(answering("AT%BV", R"(Well done\r\nOK)"));
    EXPECT_EQ(power(true), Status::OK);
    EXPECT_EQ(power(false), Status::OK);
    EXPECT_TRUE(log.contains(ANDROID_LOG_INFO, "setPowerStatus: Bivista : Well done, ret:10"));
    EXPECT_TRUE(log.contains(ANDROID_LOG_INFO, "setPowerStatus: Bivista:Well done"));
}

TEST_F(PowerTest, OffForgetsTheBrightness) {
    bringUp();
    powerOn();
    fillQueue({10, 20, 30});
    EXPECT_EQ(power(false), Status::OK);
    EXPECT_THAT(queue(), IsEmpty());
    EXPECT_EQ(lastBrightness(), 0);
}

// Meant: the service withdraws a vote that it never cast.
TEST_F(PowerTest, OffWithoutOnWithdrawsAVoteThatIsNotThere) {
    bringUp();
    EXPECT_EQ(power(false), Status::OK);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, kNegativeVote));
    EXPECT_THAT(nodeWrites(),
                ElementsAre("control=on", "control=auto", "control=auto", "bv2_pd=0 0"));
}

// Meant: a request for the state that the screen is in is carried out again, vote and all.
TEST_F(PowerTest, OnTwiceCastsTwoVotes) {
    bringUp();
    powerOn();
    EXPECT_EQ(power(true), Status::OK);
    EXPECT_THAT(commands(), ElementsAre("AT%LOGSAVE=3\r", "AT%BV=1\r", "AT%HPD\r"));
    EXPECT_THAT(nodeWrites(), ElementsAre("bv2_pd=1 0"));
    EXPECT_EQ(power(false), Status::OK);
    EXPECT_THAT(nodeWrites(), ElementsAre("bv2_pd=1 0", "bv2_pd=0 0")) << "one vote is left";
    EXPECT_EQ(power(false), Status::OK);
    EXPECT_THAT(nodeWrites(),
                ElementsAre("bv2_pd=1 0", "bv2_pd=0 0", "control=auto", "bv2_pd=0 0"));
    EXPECT_FALSE(log.contains(kNegativeVote));
}

TEST_F(PowerTest, AnExchangeUnderTheStandingVoteWritesNothing) {
    bringUp();
    powerOn();
    EXPECT_EQ(send("AT\r").value, 0);
    EXPECT_THAT(nodeWrites(), IsEmpty());
}

// The votes begin anew with each tty, also those of a screen that was on.
TEST_F(PowerTest, AReattachmentForgetsTheVote) {
    bringUp();
    powerOn();
    detach();
    attach();
    mark();
    EXPECT_EQ(power(false), Status::OK);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, kNegativeVote));
}

TEST_F(PowerTest, AnOffThatFailsTellsTheKernelAllTheSame) {
    bringUp();
    powerOn();
    service->setRgbTune(5, 5, 5, 5);
    fillQueue({10, 20});
    phone.faults.set(answering("AT%BV=0", R"(busy\r\nERROR)"));
    mark();
    EXPECT_EQ(power(false, true), Status::FAIL);
    EXPECT_THAT(commands(), ElementsAre("AT%BV=0\r"));
    EXPECT_THAT(lines(), ElementsAre(errorLine("setPowerStatus: HPD status: busy\n: ret:-1"),
                                     debugLine("Writing 0 1 to " + kPower)));
    EXPECT_THAT(nodeWrites(), ElementsAre("bv2_pd=0 1")) << "the vote stands";
    EXPECT_TRUE(bv2_screen_on);
    EXPECT_THAT(queue(), ElementsAre(10, 20));
    EXPECT_EQ(lastBrightness(), 20);
    EXPECT_THAT(elements(prgb_applied), ElementsAre(2, 0, 0, 0, 0));
}

TEST_F(PowerTest, ACoverThatNeverSaysOnFailsAfterTenTrials) {
    bringUp();
    setHotPlugPolls(10);
    EXPECT_EQ(power(true), Status::FAIL);
    std::vector<std::string> expected(10, "AT%HPD\r");
    expected.insert(expected.begin(), {"AT%LOGSAVE=3\r", "AT%BV=1\r"});
    EXPECT_THAT(commands(), ElementsAreArray(expected));
    EXPECT_THAT(lines(),
                ElementsAre(infoLine("setPowerStatus: Bivista : , ret:0"),
                            errorLine("setPowerStatus: HPD Status failed Status:Off, trial:10")));
    EXPECT_FALSE(bv2_screen_on);
    // No node, and no vote that stays.
    const std::vector<std::string> writes = nodeWrites();
    EXPECT_THAT(writes, SizeIs(2 * expected.size()));
    EXPECT_EQ(writes.back(), "control=auto");
    EXPECT_THAT(writes, testing::Not(testing::Contains("bv2_pd=1 0")));
}

TEST_F(PowerTest, TheTenthTrialStillCounts) {
    bringUp();
    setHotPlugPolls(9);
    EXPECT_EQ(power(true), Status::OK);
    EXPECT_TRUE(log.contains(ANDROID_LOG_INFO,
                             "setPowerStatus:HPD status changed :On, ret:3, trial:9"));
}

struct HotPlug {
    const char* name;
    const char* lines;
    bool on;
    const char* shown;
};
class HotPlugTest : public PowerTest, public testing::WithParamInterface<HotPlug> {};

// Meant: two characters are compared, so that whatever begins with them counts.
TEST_P(HotPlugTest, IsOnWhenItBeginsSo) {
    bringUp();
    phone.faults.set(answering("AT%HPD", GetParam().lines));
    EXPECT_EQ(power(true), GetParam().on ? Status::OK : Status::FAIL);
    EXPECT_EQ(bv2_screen_on, GetParam().on);
    const std::string shown = GetParam().shown;
    if (GetParam().on) {
        EXPECT_THAT(lines("setPowerStatus:HPD"), SizeIs(1));
        EXPECT_TRUE(lines("setPowerStatus:HPD")[0].text.starts_with(
                "setPowerStatus:HPD status changed :" + shown + ", ret:"));
    } else {
        EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "setPowerStatus: HPD Status failed Status:" +
                                                            shown + ", trial:10"));
    }
}

INSTANTIATE_TEST_SUITE_P(
        Answers, HotPlugTest,
        testing::Values(HotPlug{"Online", R"(Online\r\nOK)", true, "Online"},
                        HotPlug{"TwoLines", R"(On\r\nmore\r\nOK)", true, "On\nmore"},
                        HotPlug{"ANul", R"(On\x00ff\r\nOK)", true, "On"},
                        HotPlug{"UpperCase", R"(ON\r\nOK)", false, "ON"},
                        HotPlug{"LowerCase", R"(on\r\nOK)", false, "on"},
                        HotPlug{"OneCharacter", R"(O\r\nOK)", false, "O"},
                        HotPlug{"NotAtTheStart", R"( On\r\nOK)", false, " On"},
                        HotPlug{"SecondLine", R"(Off\r\nOn\r\nOK)", false, "Off\nOn"},
                        HotPlug{"Nothing", R"(OK)", false, ""}),
        [](const auto& info) { return info.param.name; });

// A line of the cover's log that gets between the command and its answer.
TEST_F(PowerTest, ALogLineAheadOfTheAnswerDoesNotCount) {
    bringUp();
    setHotPlugPolls(10);
    phone.faults.set(R"(on AT%HPD before "On fire")");
    EXPECT_EQ(power(true), Status::FAIL);
    EXPECT_TRUE(log.contains("setPowerStatus: HPD Status failed Status:Off, trial:10"));
}

// Meant: without the blank line that starts an answer, the cover's log counts as part of it.
TEST_F(PowerTest, ALogLineAheadOfAnAnswerWithoutABlankLineCounts) {
    bringUp();
    phone.faults.set(R"(on AT%HPD answer "On fire\r\nOff\r\nOK\r\n")");
    EXPECT_EQ(power(true), Status::OK);
    EXPECT_TRUE(log.contains("setPowerStatus:HPD status changed :On fire\nOff, ret:12, trial:0"));
}

TEST_F(PowerTest, APollThatFailsCountsAsATrial) {
    bringUp();
    setHotPlugPolls(0);
    phone.faults.set(answering("AT%HPD", R"(On but busy\r\nERROR)") + " times 2");
    EXPECT_EQ(power(true), Status::OK);
    const auto failed = errorLine("setPowerStatus: failed to serial AtCmd: On but busy\n, ret: -1");
    EXPECT_THAT(lines(),
                ElementsAre(infoLine("setPowerStatus: Bivista : , ret:0"), failed, failed,
                            infoLine("setPowerStatus:HPD status changed :On, ret:3, trial:2"),
                            debugLine("Writing 1 0 to " + kPower)));
}

TEST_F(PowerTest, EachPollStartsWithAnEmptyAnswer) {
    bringUp();
    phone.faults.set(answering("AT%HPD", "OK"));
    phone.faults.set(answering("AT%HPD", R"(Offline\r\nOK)") + " times 9");
    EXPECT_EQ(power(true), Status::FAIL);
    EXPECT_THAT(lines(),
                ElementsAre(infoLine("setPowerStatus: Bivista : , ret:0"),
                            errorLine("setPowerStatus: HPD Status failed Status:, trial:10")));
}

// Meant: a hang-up counts as an answer, but not as "On".
TEST_F(PowerTest, ACoverThatHangsUpInAPollUsesUpTheTrials) {
    bringUp();
    phone.faults.set("on AT%HPD hangup times 1");
    EXPECT_EQ(power(true), Status::FAIL);
    std::vector<support::LogLine> expected(
            9, errorLine("setPowerStatus: failed to serial AtCmd: , ret: -1"));
    expected.insert(expected.begin(), infoLine("setPowerStatus: Bivista : , ret:0"));
    expected.push_back(errorLine("setPowerStatus: HPD Status failed Status:, trial:10"));
    EXPECT_THAT(lines("setPowerStatus"), ElementsAreArray(expected));
    EXPECT_FALSE(bv2_screen_on);
}

// Meant: a hang-up counts as a success of the command, so that it is polled.
TEST_F(PowerTest, ACoverThatHangsUpAtTheSwitchIsPolled) {
    bringUp();
    phone.faults.set("on AT%BV=1 hangup times 1");
    EXPECT_EQ(power(true), Status::FAIL);
    EXPECT_TRUE(log.contains(ANDROID_LOG_INFO, "setPowerStatus: Bivista : , ret:1"));
    EXPECT_THAT(lines("setPowerStatus: failed to serial AtCmd"), SizeIs(10));
}

TEST_F(PowerTest, ACoverThatHangsUpAtTheSwitchOffIsOff) {
    bringUp();
    powerOn();
    phone.faults.set("on AT%BV=0 hangup times 1");
    EXPECT_EQ(power(false), Status::OK);
    EXPECT_TRUE(log.contains(ANDROID_LOG_INFO, "setPowerStatus: Bivista:"));
    EXPECT_FALSE(bv2_screen_on);
}

TEST_F(PowerTest, ASwitchThatFailsIsNotPolled) {
    bringUp();
    phone.faults.set(answering("AT%BV=1", R"(busy\r\nERROR)"));
    EXPECT_EQ(power(true), Status::FAIL);
    EXPECT_THAT(commands(), ElementsAre("AT%LOGSAVE=3\r", "AT%BV=1\r"));
    EXPECT_THAT(lines(), ElementsAre(infoLine("setPowerStatus: Bivista : busy\n, ret:-1"),
                                     errorLine("setPowerStatus: enable:1, buf:busy\n, ret: -1")));
    EXPECT_THAT(nodeWrites(),
                ElementsAre("control=on", "control=auto", "control=on", "control=auto"));
    EXPECT_FALSE(bv2_screen_on);
}

// An answer longer than its buffer leaves no NUL when the command fails.
TEST_F(PowerTest, AnAnswerLongerThanItsBufferIsLoggedWithinIt) {
    bringUp();
    phone.faults.set(answering("AT%BV=", std::string(3000, 'x') + R"(\r\nERROR)"));
    EXPECT_EQ(power(true), Status::FAIL);
    EXPECT_EQ(power(false), Status::FAIL);
    const std::string shown(900, 'x');
    EXPECT_THAT(lines("setPowerStatus: Bivista : " + shown), SizeIs(1));
    EXPECT_THAT(lines("setPowerStatus: enable:1, buf:" + shown), SizeIs(1));
    EXPECT_THAT(lines("setPowerStatus: HPD status: " + shown), SizeIs(1));
}

TEST_F(PowerTest, ACoverThatRejectsItsLogIsSwitchedOnAllTheSame) {
    bringUp();
    setHotPlugPolls(0);
    phone.faults.set("on AT%LOGSAVE= error");
    EXPECT_EQ(power(true), Status::OK);
    EXPECT_THAT(lines(),
                ElementsAre(errorLine("setPowerStatus: failed to enable log: Protocol not "
                                      "supported"),
                            infoLine("setPowerStatus: Bivista : , ret:0"),
                            infoLine("setPowerStatus:HPD status changed :On, ret:3, trial:0"),
                            debugLine("Writing 1 0 to " + kPower)));
}

TEST_F(PowerTest, TheLogIsAskedForAsThePropertiesSay) {
    phone.properties.set("persist.vendor.qmx.service.kernel.enable", "1");
    bringUp();
    setHotPlugPolls(0);
    EXPECT_EQ(power(true), Status::OK);
    EXPECT_EQ(commands().at(0), "AT%LOGSAVE=0\r");
    phone.properties.set("persist.vendor.qmx.dd.uart.enable", "1");
    mark();
    EXPECT_EQ(power(true), Status::OK);
    EXPECT_EQ(commands().at(0), "AT%LOGSAVE=2\r");
}

TEST_F(PowerTest, PropertiesThatCannotBeReadLeaveTheLogOff) {
    phone.files.set(phone::kPropertyFile, "\n=\npersist.vendor.qmx.service.kernel.enable\n\xff");
    bringUp();
    setHotPlugPolls(0);
    EXPECT_EQ(power(true), Status::OK);
    EXPECT_EQ(commands().at(0), "AT%LOGSAVE=3\r");
}

// Meant: the screen counts as on, so setters go on sending, and the failure has no line.
TEST_F(PowerTest, ASecondOnThatFailsLeavesTheScreenOn) {
    bringUp();
    powerOn();
    phone.faults.set(answering("AT%HPD", R"(Off\r\nOK)"));
    EXPECT_EQ(power(true), Status::FAIL);
    EXPECT_THAT(lines(), ElementsAre(infoLine("setPowerStatus: Bivista : , ret:0")));
    EXPECT_TRUE(bv2_screen_on);
    mark();
    service->setScreenMode(ScreenMode::MODE_2);
    EXPECT_THAT(commands(), ElementsAre("AT%SMODE=2\r"));
}

TEST_F(PowerTest, ANodeThatCannotBeWrittenChangesNothingElse) {
    bringUp();
    setHotPlugPolls(0);
    phone.faults.set("node " + kPower + " unwritable");
    EXPECT_EQ(power(true), Status::OK);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "Cannot open path: " + kPower));
    EXPECT_TRUE(bv2_screen_on);
    EXPECT_EQ(power(false), Status::OK);
    EXPECT_FALSE(bv2_screen_on);
}

// The kernel gets the switch before any other thread sees the screen on. The vote comes last.
TEST_F(PowerTest, OnWritesTheNodeThenSetsTheStateThenVotes) {
    bringUp();
    setHotPlugPolls(0);
    std::thread client;
    size_t told = 0;
    {
        // Held before the state is set.
        const MutexLock state(display_lock, __func__);
        client = std::thread([this] { EXPECT_EQ(power(true), Status::OK); });
        journal.waitFor(phone::isOn(Kind::NodeWrite, phone::kPowerNode, "1 0"), from);
        told = log.size();
        EXPECT_FALSE(bv2_screen_on);
    }
    const auto isVote = [](const support::LogLine& line) {
        return line.text.starts_with("usbAutoSuspend: suspend:0 vote:1 disableVote:0");
    };
    log.waitUntil(isVote, told);
    EXPECT_TRUE(bv2_screen_on);
    client.join();
    const std::vector<std::string> writes = nodeWrites();
    EXPECT_THAT(std::vector(writes.end() - 2, writes.end()),
                ElementsAre("bv2_pd=1 0", "control=on"));
}

TEST_F(PowerTest, OffSavesTheColourSettingsAsThoseOfThePanel) {
    bringUp();
    powerOn();
    service->setRgbTune(9, 8, 7, 6);
    service->setScreenTune(5, 4, 3, 0);
    service->setScreenMode(ScreenMode::MODE_3);
    EXPECT_THAT(elements(prgb_applied), ElementsAre(2, 0, 0, 0, 0));
    EXPECT_EQ(power(false), Status::OK);
    EXPECT_THAT(elements(prgb_applied), ElementsAre(9, 8, 7, 6, 0));
    EXPECT_THAT(elements(screentune_applied), ElementsAre(5, 4, 3, 0));
    EXPECT_THAT(elements(screen_mode_applied), ElementsAre(3, 0));
}

// Meant: the flag of a setting that waits is saved with its values.
TEST_F(PowerTest, OffSavesTheFlagsToo) {
    bringUp();
    service->setRgbTune(2, 0, 0, 1);
    service->setScreenTune(1, 1, 1, 0);
    service->setScreenMode(ScreenMode::MODE_1);
    EXPECT_EQ(power(false), Status::OK);
    EXPECT_THAT(elements(prgb_applied), ElementsAre(2, 0, 0, 1, 1));
    EXPECT_THAT(elements(screentune_applied), ElementsAre(1, 1, 1, 1));
    EXPECT_THAT(elements(screen_mode_applied), ElementsAre(1, 1));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
