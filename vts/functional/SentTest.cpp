// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The commands to the cover for requests that the service answers OK whatever becomes of them. The
// cover is made to go when it receives a certain command; its absence shows on the bus.
#include "BivistaTest.h"

#include <cstdint>

#include <vendor/qmx/hardware/bivista/1.1/IBivistaLpwgCallback.h>

namespace bivista_vts {
namespace {

using vendor::qmx::hardware::bivista::V1_0::ScreenMode;

class SentTest : public CoverTest {
  protected:
    void SetUp() override {
        CoverTest::SetUp();
        if (HasFatalFailure() || IsSkipped()) return;
        needCommand(kHangup, options().hangupCommand);
        if (HasFatalFailure() || IsSkipped()) return;
        needCommand(kPlugging, options().attachCommand);
    }
    void TearDown() override {
        if (service != nullptr && !IsSkipped() && isCoverOff()) attachCover();
    }

    // From now on the cover goes when it receives a command that begins so.
    static void listenFor(const std::string& cmd) { runCommand(options().hangupCommand, cmd); }

    // Whether the cover has gone. Puts it on again.
    void expectHeard(const std::string& cmd) const {
        EXPECT_TRUE(await([this] { return isCoverOff(); })) << "'" << cmd << "' was not sent";
        if (isCoverOff()) attachCover();
    }
    // The cover has not received the command: when it is sent now, the cover goes.
    void expectUnheard(const std::string& cmd) const {
        EXPECT_TRUE(isCoverOn()) << "'" << cmd << "' was sent";
        send(cmd);
        expectHeard(cmd);
    }

    void switchTo(bool enable) const {
        EXPECT_EQ(statusOf(service->setPowerStatus(enable, false)), Status::OK) << enable;
    }
};

// Leaves brightness and offset as with a fresh cover.
class BrightnessSentTest : public SentTest {
  protected:
    void TearDown() override {
        SentTest::TearDown();
        if (service == nullptr || IsSkipped()) return;
        // With the screen off the command 100 would stay in force.
        switchTo(true);
        EXPECT_EQ(statusOf(service->setBVBrightnessOffset(0)), Status::OK);
        switchTo(false);
    }
    void setBrightness(int32_t level) const {
        EXPECT_EQ(statusOf(service->setBrightness(level)), Status::OK) << level;
    }
    static std::string commandOf(int32_t level) { return "AT%DB=" + std::to_string(level); }
};

TEST_P(BrightnessSentTest, EachLevel) {
    for (const int32_t level : {77, 255, 0}) {
        listenFor(commandOf(level));
        setBrightness(level);
        expectHeard(commandOf(level));
    }
}

TEST_P(BrightnessSentTest, NoLevelOutOfRange) {
    for (const int32_t level : {256, -1}) {
        listenFor(commandOf(level));
        setBrightness(level);
        // The queue keeps its order: when this level is sent, the one before it was handled.
        listenFor(commandOf(9));
        setBrightness(9);
        expectHeard(commandOf(9));
        expectUnheard(commandOf(level));
    }
}

TEST_P(BrightnessSentTest, TheLastOfABurst) {
    listenFor(commandOf(255));
    for (int32_t level = 1; level < 256; ++level) setBrightness(level);
    expectHeard(commandOf(255));
    if (options().with.count(kDump) == 0) return;
    int32_t waited = 0;
    EXPECT_TRUE(takeNumbers(readDump(service.get(), {"--json"}), "\"highWater\":", &waited, 1));
    EXPECT_GT(waited, 0);
    EXPECT_LE(waited, 20);
}

// As many as may wait, and one more, in whose place the newest comes, unless it is under way.
TEST_P(BrightnessSentTest, TheTwentyThatWait) {
    listenFor(commandOf(102));
    for (int32_t level = 101; level <= 121; ++level) setBrightness(level);
    expectHeard(commandOf(102));
}

TEST_P(BrightnessSentTest, AgainForAnOffsetAndTwiceAsFar) {
    switchTo(true);
    setBrightness(100);
    listenFor(commandOf(80));
    EXPECT_EQ(statusOf(service->setBVBrightnessOffset(-10)), Status::OK);
    expectHeard(commandOf(80));
}

TEST_P(BrightnessSentTest, NotBelowTheFloorOfAnOffset) {
    switchTo(true);
    EXPECT_EQ(statusOf(service->setBVBrightnessOffset(-5)), Status::OK);
    listenFor(commandOf(10));
    setBrightness(5);
    expectHeard(commandOf(10));
}

TEST_P(BrightnessSentTest, NotForTheOffset100WhichIsACommand) {
    switchTo(true);
    setBrightness(50);
    listenFor(commandOf(250));
    EXPECT_EQ(statusOf(service->setBVBrightnessOffset(100)), Status::OK);
    listenFor(commandOf(9));
    setBrightness(9);
    expectHeard(commandOf(9));
    expectUnheard(commandOf(250));
}

TEST_P(BrightnessSentTest, AsNoneAfterTheScreenWasOff) {
    switchTo(true);
    setBrightness(100);
    switchTo(false);
    switchTo(true);
    listenFor(commandOf(0));
    EXPECT_EQ(statusOf(service->setBVBrightnessOffset(-10)), Status::OK);
    expectHeard(commandOf(0));
}

// Leaves the colours as with a fresh cover.
class ColoursSentTest : public SentTest {
  protected:
    void TearDown() override {
        if (service != nullptr) {
            setRgbTune(2, 0, 0, 0);
            EXPECT_EQ(statusOf(service->setScreenTune(2, 2, 2, 0)), Status::OK);
            EXPECT_EQ(statusOf(service->setScreenMode(ScreenMode::DEFAULT)), Status::OK);
        }
        SentTest::TearDown();
    }
    void setRgbTune(uint32_t value1, uint32_t value2, uint32_t value3, uint32_t value4) const {
        EXPECT_EQ(statusOf(service->setRgbTune(value1, value2, value3, value4)), Status::OK);
    }
};

TEST_P(ColoursSentTest, WhileTheScreenIsOn) {
    switchTo(true);
    listenFor("AT%PRGB=5,6,7,8");
    setRgbTune(5, 6, 7, 8);
    expectHeard("AT%PRGB=5,6,7,8");
    switchTo(true);
    listenFor("AT%SHS=5,6,7");
    EXPECT_EQ(statusOf(service->setScreenTune(5, 6, 7, 8)), Status::OK);
    expectHeard("AT%SHS=5,6,7");
    switchTo(true);
    listenFor("AT%SMODE=3");
    EXPECT_EQ(statusOf(service->setScreenMode(ScreenMode::MODE_3)), Status::OK);
    expectHeard("AT%SMODE=3");
}

TEST_P(ColoursSentTest, OnceIfTheyDoNotChange) {
    switchTo(true);
    setRgbTune(5, 6, 7, 8);
    listenFor("AT%PRGB=");
    setRgbTune(5, 6, 7, 8);
    expectUnheard("AT%PRGB=5,6,7,8");
}

TEST_P(ColoursSentTest, AsTheScreenIsSwitchedOn) {
    switchTo(false);
    listenFor("AT%PRGB=5,6,7,8");
    setRgbTune(5, 6, 7, 8);
    EXPECT_TRUE(isCoverOn()) << "sent while the screen is off";
    // Fails: the cover goes meanwhile.
    EXPECT_EQ(statusOf(service->setPowerStatus(true, false)), Status::FAIL);
    expectHeard("AT%PRGB=5,6,7,8");
}

TEST_P(ColoursSentTest, AgainToACoverThatWasAway) {
    switchTo(true);
    setRgbTune(5, 6, 7, 8);
    switchTo(false);
    listenFor("AT%DB=1");
    EXPECT_EQ(statusOf(service->setBrightness(1)), Status::OK);
    expectHeard("AT%DB=1");
    listenFor("AT%PRGB=5,6,7,8");
    EXPECT_EQ(statusOf(service->setPowerStatus(true, false)), Status::FAIL);
    expectHeard("AT%PRGB=5,6,7,8");
}

class ModeSentTest : public SentTest {};

TEST_P(ModeSentTest, OfThePenForThePhone) {
    for (const auto& [mode, sent] : {std::pair(1u, "1"), std::pair(2u, "2"), std::pair(7u, "2")}) {
        const std::string cmd = std::string("AT%TCHNOTIFY=SWTICH_AES,") + sent;
        listenFor(cmd);
        EXPECT_EQ(statusOf(service->manageAesMode(mode)), Status::OK) << mode;
        expectHeard(cmd);
    }
}

TEST_P(ModeSentTest, OfTouchPerformance) {
    listenFor("AT%TCPERF=1");
    EXPECT_EQ(statusOf(service->set_touch_perf(true)), Status::OK);
    expectHeard("AT%TCPERF=1");
}

// Events that the service carries out by itself, as long as a client has a callback.
class EventSentTest : public SentTest {
  protected:
    class Client : public V1_1::IBivistaLpwgCallback {
      public:
        Return<void> onLpwgEvent(V1_0::LpwgEventStatus /*status*/, int32_t /*result*/) override {
            return Void();
        }
        Return<void> onLpwgEvent_1_1(V1_1::LpwgEventStatus /*status*/,
                                     int32_t /*result*/) override {
            return Void();
        }
    };

    void SetUp() override {
        SentTest::SetUp();
        if (HasFatalFailure() || IsSkipped()) return;
        needCommand(kEvents, options().eventCommand);
        if (HasFatalFailure() || IsSkipped()) return;
        expectDone(service->setLpwgCallback(mClient));
    }
    void expectSentFor(const char* event, const char* cmd) const {
        listenFor(cmd);
        runCommand(options().eventCommand, event);
        expectHeard(cmd);
    }

  private:
    const sp<Client> mClient = new Client;
};

TEST_P(EventSentTest, ThatSwitchThePen) {
    expectSentFor("SWITCH_AES_TO_1", "AT%TCHNOTIFY=SWTICH_AES,1");
    expectSentFor("SWITCH_AES_TO_2", "AT%TCHNOTIFY=SWTICH_AES,2");
    expectSentFor("SWITCH_AES_BOTH", "AT%TCHNOTIFY=SWTICH_AES,2");
}

TEST_P(EventSentTest, ThatAskForTheTouchUpdateState) {
    if (options().with.count(kPanel) == 0) GTEST_SKIP() << "--with=panel was not given";
    // An attachment sends it too, before the panel comes.
    ASSERT_TRUE(await([this] { return subDisplayState() == SubScreenState::ON; }));
    expectSentFor("BV_UPDATE_STATE", "AT%TCHUPDATE=UPDATE_STATE");
}

BIVISTA_PER_INSTANCE(BrightnessSentTest);
BIVISTA_PER_INSTANCE(ColoursSentTest);
BIVISTA_PER_INSTANCE(ModeSentTest);
BIVISTA_PER_INSTANCE(EventSentTest);

}  // namespace
}  // namespace bivista_vts
