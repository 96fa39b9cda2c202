// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a replay makes of a recording.

#include "emulator/replay/Script.h"

#include <cerrno>

#include <gmock/gmock.h>

namespace replay {
namespace {

using phone::Entry;
using phone::Kind;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char kCover[] = "3e91:6a2f TQC330R 0001";
constexpr char kHow[] = R"({"tty":2,"hid":5,"usb":true,"product":"TQC330R","serial":"0001"})";
constexpr char kTty[] = "/dev/ttyACM2";
constexpr char kPanel[] = "/dev/hidraw5";

class ScriptTest : public testing::Test {
  protected:
    // One millisecond after the entry before.
    Entry& add(Kind kind, const std::string& path, const std::string& bytes = "",
               const std::string& note = "") {
        const Time time = milliseconds(mRecording.entries.size());
        mRecording.entries.push_back({.seq = mRecording.entries.size() + 1,
                                      .time = time,
                                      .kind = kind,
                                      .path = path,
                                      .bytes = bytes,
                                      .note = note});
        return mRecording.entries.back();
    }
    void givenCover() { add(Kind::Attach, "1-1", kHow, kCover); }
    // Of what is played.
    static std::vector<Kind> kindsOf(const Script& script) {
        std::vector<Kind> kinds;
        for (const Stimulus& stimulus : script.stimuli) kinds.push_back(stimulus.entry->kind);
        return kinds;
    }

    recording::Recording mRecording;
};

TEST_F(ScriptTest, TakesWhatIsWrongInAnAttachAsAbsent) {
    add(Kind::Attach, "1-1", R"({"tty":"x","hid":[],"usb":7,"serial":1})", kCover);
    const Script script = makeScript(mRecording);
    ASSERT_THAT(script.devices, SizeIs(1));
    EXPECT_EQ(script.devices[0].description.tty, std::nullopt);
    EXPECT_TRUE(script.devices[0].description.onBus);
}

TEST_F(ScriptTest, HasACoverAsItCame) {
    givenCover();
    const Script script = makeScript(mRecording);
    ASSERT_THAT(script.devices, SizeIs(1));
    const phone::DeviceDescription& cover = script.devices[0].description;
    EXPECT_EQ(cover.tty, 2);
    EXPECT_EQ(cover.hidraw, 5);
    EXPECT_TRUE(cover.onBus);
    EXPECT_EQ(cover.vendorText, std::nullopt);
    EXPECT_EQ(cover.identity, (cover::UsbIdentity{0x3e91, 0x6a2f, "TQC330R", "0001"}));
    EXPECT_TRUE(script.devices[0].isCover);
}

TEST_F(ScriptTest, InfersTheNodesOfAnOldRecording) {
    add(Kind::Attach, "1-1", "", kCover);
    add(Kind::TtyOpen, "/dev/ttyACM7", "", "O_RDWR");
    add(Kind::HidOpen, "/dev/hidraw3", "", "O_RDONLY");
    add(Kind::Detach, "1-1");
    add(Kind::Attach, "1-1", "", "0483:df11 TQC330R 00000000001A");
    add(Kind::Attach, "1-2", "", "/dev/ttyACM4");
    const Script script = makeScript(mRecording);
    ASSERT_THAT(script.devices, SizeIs(3));
    EXPECT_EQ(script.devices[0].description.tty, 7);
    EXPECT_EQ(script.devices[0].description.hidraw, 3);
    EXPECT_EQ(script.devices[1].description.tty, std::nullopt) << "a loader has no tty";
    EXPECT_FALSE(script.devices[1].isCover);
    EXPECT_EQ(script.devices[2].description.tty, 4);
    EXPECT_FALSE(script.devices[2].description.onBus);
    EXPECT_FALSE(script.devices[2].isCover) << "another device with a tty";
}

TEST_F(ScriptTest, TakesWhatComesUntilTheEndForTheAnswer) {
    givenCover();
    add(Kind::TtyRx, kTty, "AT%S");
    add(Kind::TtyRx, kTty, "WV\r");
    add(Kind::TtyTx, kTty, "a line of the log\r\n");
    add(Kind::TtyTx, kTty, "\r\nV1\r\nOK\r\n");
    add(Kind::TtyTx, kTty, "noise");
    const Script script = makeScript(mRecording);
    const std::vector<Exchange>& exchanges = script.devices[0].exchanges;
    ASSERT_THAT(exchanges, SizeIs(1));
    EXPECT_EQ(exchanges[0].command, "AT%SWV\r");
    ASSERT_THAT(exchanges[0].answers, SizeIs(2));
    EXPECT_EQ(exchanges[0].answers[0].delay, milliseconds(1));
    EXPECT_EQ(exchanges[0].answers[1].delay, milliseconds(2));
    EXPECT_EQ(exchanges[0].answers[1].recorded, milliseconds(4));
    EXPECT_EQ(exchanges[0].answers[1].bytes, "\r\nV1\r\nOK\r\n");
    EXPECT_THAT(kindsOf(script), ElementsAre(Kind::Attach, Kind::TtyTx))
            << "the noise is no answer";
}

TEST_F(ScriptTest, HasACommandWithoutAnAnswer) {
    givenCover();
    add(Kind::TtyRx, kTty, "AT\r");
    add(Kind::TtyRx, kTty, "AT%BV=1\r");
    add(Kind::TtyTx, kTty, "\r\nERROR\r\n");
    add(Kind::TtyLost, kTty, "AT%BV=0\r");
    const std::vector<Exchange> exchanges = makeScript(mRecording).devices[0].exchanges;
    ASSERT_THAT(exchanges, SizeIs(3));
    EXPECT_THAT(exchanges[0].answers, IsEmpty());
    EXPECT_THAT(exchanges[1].answers, SizeIs(1));
    EXPECT_FALSE(exchanges[1].isLost);
    EXPECT_TRUE(exchanges[2].isLost);
}

TEST_F(ScriptTest, HasWhatBecameOfEachCallOfThePanel) {
    givenCover();
    add(Kind::HidOpen, kPanel, "", "O_RDWR|O_CLOEXEC").duration = milliseconds(50);
    add(Kind::HidOpen, kPanel, "", "O_RDWR|O_CLOEXEC EBUSY");
    add(Kind::HidGet, kPanel, "\x02info");
    add(Kind::HidGet, kPanel, "\x02", "EPIPE");
    add(Kind::HidWrite, kPanel, "\x02report", "passed 3");
    const std::vector<HidCall> calls = makeScript(mRecording).devices[0].hidCalls;
    ASSERT_THAT(calls, SizeIs(5));
    EXPECT_EQ(calls[0].held, milliseconds(50));
    EXPECT_EQ(calls[0].answered, milliseconds(51));
    EXPECT_EQ(calls[0].error, 0);
    EXPECT_EQ(calls[1].error, EBUSY);
    EXPECT_EQ(calls[2].report, "\x02info");
    EXPECT_EQ(calls[3].error, EPIPE);
    EXPECT_EQ(calls[4].error, 0);
    EXPECT_EQ(calls[4].passed, 3u);
}

TEST_F(ScriptTest, AnswersTheCallBeforeOneThatFoundNoDeviceWhenThatWent) {
    givenCover();
    add(Kind::HidOpen, kPanel, "", "O_RDWR").duration = milliseconds(2);
    add(Kind::Detach, "1-1");
    add(Kind::HidSet, kPanel, "\x03", "ENODEV");
    EXPECT_EQ(makeScript(mRecording).devices[0].hidCalls[0].answered, milliseconds(3));
}

TEST_F(ScriptTest, PlaysWhatHappensToTheService) {
    givenCover();
    add(Kind::Property, "key", "value");
    add(Kind::NodeSet, "/sys/power/wake_lock", "");
    add(Kind::Uevent, "", "change@/x");
    add(Kind::ClientCall, "IBivista.getBV2Connect", "[]", "[true]");
    add(Kind::ClientCall, "", "", "calls lost");
    add(Kind::Fault, "", "node /sys/x missing");
    add(Kind::Fault, "", "on AT%SWV silent");
    add(Kind::Fault, "");
    add(Kind::Control, "DELETE /v1/lpwg", "{}");
    add(Kind::Control, "PUT /v1/cover", "{}");
    add(Kind::Control, "POST /v1/attach", "{}");
    add(Kind::Signal, "", "USR1");
    add(Kind::Mark, "", "a remark");
    add(Kind::Detach, "1-1");
    add(Kind::Detach, "", "", "does not come back");
    EXPECT_THAT(kindsOf(makeScript(mRecording)),
                ElementsAre(Kind::Attach, Kind::Property, Kind::NodeSet, Kind::Uevent,
                            Kind::ClientCall, Kind::Fault, Kind::Fault, Kind::Control,
                            Kind::Control, Kind::Signal, Kind::Detach));
}

TEST_F(ScriptTest, GivesTheServiceACallbackOfTheVersionThatHeard) {
    add(Kind::ClientCall, "IBivista.setLpwgCallback", R"(["callback"])");
    add(Kind::ClientCallback, "IBivistaLpwgCallback.onLpwgEvent", R"(["WAKEUP",0])");
    add(Kind::ClientCall, "IBivista.setLpwgCallback", R"(["callback"])");
    add(Kind::ClientCallback, "IBivistaLpwgCallback.onLpwgEvent_1_1", R"(["WAKEUP",0])");
    const Script script = makeScript(mRecording);
    ASSERT_THAT(script.stimuli, SizeIs(2));
    EXPECT_EQ(script.stimuli[0].arguments, R"(["callback-1.0"])");
    EXPECT_EQ(script.stimuli[1].arguments, R"(["callback"])");
}

TEST_F(ScriptTest, HasTheDeedsInTheOrderOfTheirEnds) {
    add(Kind::ClientCall, "IBivista.setPowerStatus", "[true]", R"(["OK"])").duration =
            milliseconds(5);
    add(Kind::NodeWrite, "/sys/x", "1");
    add(Kind::NodeClose, "/sys/x");
    const std::vector<Deed> deeds = makeScript(mRecording).deeds;
    ASSERT_THAT(deeds, SizeIs(3));
    EXPECT_EQ(deeds[0].lane, "node /sys/x");
    EXPECT_FALSE(deeds[0].isClosing);
    EXPECT_TRUE(deeds[1].isClosing);
    EXPECT_EQ(deeds[2].lane, "call");
    EXPECT_EQ(deeds[2].time, milliseconds(5));
}

TEST_F(ScriptTest, HasTheAnswersOfNeighbours) {
    add(Kind::HidlCall, "IAccessory.getAccessoryState", "", "0,3");
    add(Kind::HidlCall, "IAccessory.getAccessoryState", "", "0,0");
    EXPECT_THAT(makeScript(mRecording).answers.at("IAccessory.getAccessoryState"),
                ElementsAre("0,3", "0,0"));
}

}  // namespace
}  // namespace replay
