// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Colour mode and tuning: what is sent at once, what waits, and what power-on sends again.
#include "display/Color.h"

#include <climits>

#include "display/Display.h"
#include "tests/display/DisplayTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ColorTest : public DisplayTest {
  protected:
    void setRgb(uint32_t value1, uint32_t value2, uint32_t value3, uint32_t value4) {
        EXPECT_EQ(service->setRgbTune(value1, value2, value3, value4), Status::OK);
    }
    void setTune(uint32_t value1, uint32_t value2, uint32_t value3, uint32_t ignored = 0) {
        EXPECT_EQ(service->setScreenTune(value1, value2, value3, ignored), Status::OK);
    }
    void setMode(int32_t mode) {
        EXPECT_EQ(service->setScreenMode(static_cast<ScreenMode>(mode)), Status::OK);
    }
    void power(bool enable) { EXPECT_EQ(service->setPowerStatus(enable, false), Status::OK); }

    // The colour commands since mark(), without their "\r".
    std::vector<std::string> colors() const {
        std::vector<std::string> found;
        for (const std::string& command : commands()) {
            for (const char* prefix : {"AT%PRGB=", "AT%SHS=", "AT%SMODE="}) {
                if (command.starts_with(prefix))
                    found.push_back(command.substr(0, command.size() - 1));
            }
        }
        return found;
    }
};

// A panel that was just attached holds what the settings begin with.
TEST_F(ColorTest, TheSettingsBeginAsThoseOfAFreshPanel) {
    EXPECT_THAT(elements(prgb), ElementsAre(2, 0, 0, 0, 0));
    EXPECT_THAT(elements(screentune), ElementsAre(2, 2, 2, 0));
    EXPECT_THAT(elements(screen_mode), ElementsAre(0, 0));
    EXPECT_THAT(elements(prgb_applied), ElementsAre(2, 0, 0, 0, 0));
    EXPECT_THAT(elements(screentune_applied), ElementsAre(2, 2, 2, 0));
    EXPECT_THAT(elements(screen_mode_applied), ElementsAre(0, 0));
}

TEST_F(ColorTest, TheFirstPowerOnSendsNoColour) {
    bringUp();
    setHotPlugPolls(0);
    power(true);
    EXPECT_THAT(colors(), IsEmpty());
}

TEST_F(ColorTest, TheSameValuesChangeNothing) {
    bringUp();
    powerOn();
    setRgb(2, 0, 0, 0);
    setTune(2, 2, 2, 7);
    setMode(0);
    EXPECT_THAT(commands(), IsEmpty());
    EXPECT_THAT(lines(), IsEmpty());
    EXPECT_EQ(prgb.waiting(), 0);
    EXPECT_EQ(screentune.waiting(), 0);
    EXPECT_EQ(screen_mode.waiting(), 0);
}

TEST_F(ColorTest, ANewValueIsSentAtOnceWhileTheScreenIsOn) {
    bringUp();
    powerOn();
    setRgb(1, 2, 3, 4);
    setTune(5, 6, 7);
    setMode(3);
    EXPECT_THAT(commands(), ElementsAre("AT%PRGB=1,2,3,4\r", "AT%SHS=5,6,7\r", "AT%SMODE=3\r"));
    EXPECT_THAT(lines(),
                ElementsAre(infoLine("bv2_display_color_mode_send: at cmd path:AT%PRGB=1,2,3,4\r"),
                            infoLine("bv2_display_color_mode_send: "),
                            infoLine("bv2_display_color_mode_send: at cmd path:AT%SHS=5,6,7\r"),
                            infoLine("bv2_display_color_mode_send: "),
                            infoLine("bv2_display_color_mode_send: at cmd path:AT%SMODE=3\r"),
                            infoLine("bv2_display_color_mode_send: ")));
    EXPECT_THAT(elements(prgb), ElementsAre(1, 2, 3, 4, 0));
    EXPECT_THAT(elements(screentune), ElementsAre(5, 6, 7, 0));
    EXPECT_THAT(elements(screen_mode), ElementsAre(3, 0));
    EXPECT_THAT(phone.cover.state().screen.rgb, ElementsAre(1, 2, 3, 4));
}

TEST_F(ColorTest, AnyOfTheFourRgbValuesCounts) {
    bringUp();
    powerOn();
    setRgb(2, 0, 0, 1);
    setRgb(2, 0, 1, 1);
    setRgb(2, 1, 1, 1);
    setRgb(1, 1, 1, 1);
    setRgb(1, 1, 1, 1);
    EXPECT_THAT(colors(), ElementsAre("AT%PRGB=2,0,0,1", "AT%PRGB=2,0,1,1", "AT%PRGB=2,1,1,1",
                                      "AT%PRGB=1,1,1,1"));
}

// Meant: screen tuning has three values.
TEST_F(ColorTest, TheFourthTuningValueIsIgnored) {
    bringUp();
    powerOn();
    setTune(1, 2, 3, 99);
    setTune(1, 2, 3, 5);
    EXPECT_THAT(commands(), ElementsAre("AT%SHS=1,2,3\r"));
}

// A number that the interface does not know is the cover's business.
TEST_F(ColorTest, AnyModeIsPassedOn) {
    bringUp();
    powerOn();
    for (const int32_t mode : {77, -1, INT_MAX, INT_MIN}) setMode(mode);
    EXPECT_THAT(colors(), ElementsAre("AT%SMODE=77", "AT%SMODE=-1", "AT%SMODE=2147483647",
                                      "AT%SMODE=-2147483648"));
}

TEST_F(ColorTest, ValuesAreSentAsSignedNumbers) {
    bringUp();
    powerOn();
    setRgb(UINT32_MAX, 0x80000000, 0x7fffffff, 0);
    setTune(0x80000000, UINT32_MAX, 0x7fffffff, UINT32_MAX);
    EXPECT_THAT(colors(), ElementsAre("AT%PRGB=-1,-2147483648,2147483647,0",
                                      "AT%SHS=-2147483648,-1,2147483647"));
}

TEST_F(ColorTest, NothingIsSentBeforeAnAttachment) {
    start();
    // Not enough by itself.
    bv2_screen_on = true;
    log.waitFor("usbThread: creating");
    mark();
    setRgb(1, 2, 3, 4);
    setTune(5, 6, 7);
    setMode(3);
    EXPECT_THAT(lines(), IsEmpty());
    EXPECT_THAT(elements(prgb), ElementsAre(1, 2, 3, 4, 1));
    EXPECT_THAT(elements(screentune), ElementsAre(5, 6, 7, 1));
    EXPECT_THAT(elements(screen_mode), ElementsAre(3, 1));
}

TEST_F(ColorTest, NothingIsSentWhileTheScreenIsOff) {
    bringUp();
    setRgb(1, 2, 3, 4);
    setTune(5, 6, 7);
    setMode(3);
    EXPECT_THAT(commands(), IsEmpty());
    EXPECT_THAT(lines(), IsEmpty());
}

// Meant: ahead of the command that switches the screen on.
TEST_F(ColorTest, PowerOnSendsWhatChangedFirst) {
    bringUp();
    setHotPlugPolls(0);
    setMode(3);
    setTune(5, 6, 7);
    setRgb(1, 2, 3, 4);
    power(true);
    EXPECT_THAT(commands(), ElementsAre("AT%PRGB=1,2,3,4\r", "AT%SHS=5,6,7\r", "AT%SMODE=3\r",
                                        "AT%LOGSAVE=3\r", "AT%BV=1\r", "AT%HPD\r"));
    EXPECT_EQ(prgb.waiting(), 0);
    EXPECT_EQ(screentune.waiting(), 0);
    EXPECT_EQ(screen_mode.waiting(), 0);
}

struct Change {
    const char* name;
    void (*make)(Bivista& service);
    const char* command;
};
class ChangeTest : public ColorTest, public testing::WithParamInterface<Change> {};

TEST_P(ChangeTest, OfOneGroupIsSentAtPowerOnAlone) {
    bringUp();
    setHotPlugPolls(0);
    GetParam().make(*service);
    power(true);
    EXPECT_THAT(colors(), ElementsAre(GetParam().command));
}

INSTANTIATE_TEST_SUITE_P(
        Groups, ChangeTest,
        testing::Values(
                Change{"FirstRgb", [](Bivista& s) { s.setRgbTune(3, 0, 0, 0); }, "AT%PRGB=3,0,0,0"},
                Change{"SecondRgb", [](Bivista& s) { s.setRgbTune(2, 3, 0, 0); },
                       "AT%PRGB=2,3,0,0"},
                Change{"ThirdRgb", [](Bivista& s) { s.setRgbTune(2, 0, 3, 0); }, "AT%PRGB=2,0,3,0"},
                Change{"FirstTune", [](Bivista& s) { s.setScreenTune(3, 2, 2, 0); },
                       "AT%SHS=3,2,2"},
                Change{"SecondTune", [](Bivista& s) { s.setScreenTune(2, 3, 2, 0); },
                       "AT%SHS=2,3,2"},
                Change{"ThirdTune", [](Bivista& s) { s.setScreenTune(2, 2, 3, 0); },
                       "AT%SHS=2,2,3"},
                Change{"Mode", [](Bivista& s) { s.setScreenMode(ScreenMode::MODE_1); },
                       "AT%SMODE=1"}),
        [](const auto& info) { return info.param.name; });

// Meant: three of the four RGB values are compared.
TEST_F(ColorTest, PowerOnDoesNotSeeTheFourthRgbValue) {
    bringUp();
    setHotPlugPolls(0);
    setRgb(2, 0, 0, 9);
    power(true);
    EXPECT_THAT(colors(), IsEmpty());
    EXPECT_EQ(prgb.waiting(), 1) << "it still waits";
}

TEST_F(ColorTest, WhatWaitsGoesWithTheNextSetter) {
    bringUp();
    setRgb(2, 0, 0, 9);
    powerOn();
    setMode(1);
    EXPECT_THAT(colors(), ElementsAre("AT%PRGB=2,0,0,9", "AT%SMODE=1"));
}

TEST_F(ColorTest, WhatWaitsGoesWithAnotherGroupAtPowerOn) {
    bringUp();
    setHotPlugPolls(0);
    setRgb(2, 0, 0, 9);
    setTune(1, 1, 1);
    power(true);
    EXPECT_THAT(colors(), ElementsAre("AT%PRGB=2,0,0,9", "AT%SHS=1,1,1"));
}

// There and back again: nothing differs, but the flag stays.
TEST_F(ColorTest, AFlagSurvivesPowerCycles) {
    bringUp();
    setHotPlugPolls(0);
    setMode(1);
    setMode(0);
    power(true);
    power(false);
    power(true);
    EXPECT_THAT(colors(), IsEmpty());
    setTune(1, 1, 1);
    EXPECT_THAT(colors(), ElementsAre("AT%SHS=1,1,1", "AT%SMODE=0"));
}

TEST_F(ColorTest, WhatChangedIsSentAtEveryPowerOnUntilAPowerOff) {
    bringUp();
    setHotPlugPolls(0);
    setMode(1);
    power(true);
    power(true);
    EXPECT_THAT(colors(), ElementsAre("AT%SMODE=1", "AT%SMODE=1"));
    power(false);
    mark();
    power(true);
    EXPECT_THAT(colors(), IsEmpty());
}

TEST_F(ColorTest, APowerOffThatFailsSavesNothing) {
    bringUp();
    powerOn();
    setMode(1);
    phone.faults.set("on AT%BV=0 error times 1");
    EXPECT_EQ(service->setPowerStatus(false, false), Status::FAIL);
    mark();
    power(true);
    EXPECT_THAT(colors(), ElementsAre("AT%SMODE=1"));
}

TEST_F(ColorTest, APowerOnThatFailsHasSentWhatChanged) {
    bringUp();
    setMode(1);
    phone.faults.set("on AT%BV=1 error times 1");
    EXPECT_EQ(service->setPowerStatus(true, false), Status::FAIL);
    EXPECT_THAT(colors(), ElementsAre("AT%SMODE=1"));
    powerOn();
    EXPECT_THAT(elements(screen_mode_applied), ElementsAre(0, 0));
}

TEST_F(ColorTest, AFreshPanelGetsTheSettingsAtPowerOn) {
    bringUp();
    powerOn();
    setRgb(1, 2, 3, 4);
    setTune(5, 6, 7);
    setMode(3);
    power(false);
    detach();
    attach();
    mark();
    power(true);
    EXPECT_THAT(colors(), ElementsAre("AT%PRGB=1,2,3,4", "AT%SHS=5,6,7", "AT%SMODE=3"));
    EXPECT_EQ(phone.cover.state().screen.mode, 3);
}

// Meant: there is no second try.
TEST_F(ColorTest, AFailedSendIsForgotten) {
    bringUp();
    powerOn();
    phone.faults.set(R"(on AT%PRGB= answer "\r\nbusy\r\nERROR\r\n" times 1)");
    setRgb(1, 2, 3, 4);
    EXPECT_THAT(lines(),
                ElementsAre(infoLine("bv2_display_color_mode_send: at cmd path:AT%PRGB=1,2,3,4\r"),
                            errorLine("bv2_display_color_mode_send: busy\n, ret: -1")));
    EXPECT_EQ(prgb.waiting(), 0);
    setMode(1);
    EXPECT_THAT(colors(), ElementsAre("AT%PRGB=1,2,3,4", "AT%SMODE=1"));
}

TEST_F(ColorTest, TheAnswerIsLogged) {
    bringUp();
    powerOn();
    phone.faults.set(R"(on AT%SMODE= answer "\r\nas you like\r\nOK\r\n")");
    setMode(1);
    EXPECT_TRUE(log.contains(ANDROID_LOG_INFO, "bv2_display_color_mode_send: as you like"));
}

// An answer longer than its buffer leaves no NUL when the command fails.
TEST_F(ColorTest, AnAnswerLongerThanItsBufferIsLoggedWithinIt) {
    bringUp();
    powerOn();
    phone.faults.set("on AT%SMODE= answer \"\\r\\n" + std::string(3000, 'x') +
                     "\\r\\nERROR\\r\\n\"");
    setMode(1);
    EXPECT_THAT(lines("bv2_display_color_mode_send: " + std::string(900, 'x')), testing::SizeIs(1));
}

TEST_F(ColorTest, WithoutAServiceNothingCanBeSent) {
    start();
    log.waitFor("usbThread: creating");
    mark();
    EXPECT_EQ(bv2_display_color_mode_send("AT%SMODE=1\r"), -1);
    EXPECT_THAT(lines(), ElementsAre(errorLine("bv2_display_color_mode_send: bv2 null")));
}

TEST_F(ColorTest, TheResultIsThatOfTheLastSend) {
    bringUp();
    EXPECT_EQ(bv2_display_color_control(), 0) << "nothing waits";
    phone.faults.set("on AT%PRGB= error");
    phone.faults.set(R"(on AT%SHS= answer "\r\nab\r\nOK\r\n")");
    setRgb(1, 2, 3, 4);
    EXPECT_EQ(bv2_display_color_control(), -1);
    setRgb(1, 2, 3, 5);
    setTune(5, 6, 7);
    EXPECT_EQ(bv2_display_color_control(), 3);
}

// Meant: setters and sends take no lock, so that they do not wait for the accessory service.
TEST_F(ColorTest, SettersDoNotWaitForTheDisplayLock) {
    bringUp();
    powerOn();
    const MutexLock lock(display_lock, __func__);
    setRgb(1, 2, 3, 4);
    setTune(5, 6, 7);
    setMode(3);
    EXPECT_THAT(colors(), ElementsAre("AT%PRGB=1,2,3,4", "AT%SHS=5,6,7", "AT%SMODE=3"));
}

TEST_F(ColorTest, TwoClientsThatTuneAtOnceSendWholeCommands) {
    bringUp();
    powerOn();
    const auto tune = [this](uint32_t first) {
        for (uint32_t i = 0; i < 20; ++i) service->setScreenTune(first, i, first, 0);
    };
    std::thread one(tune, 1);
    std::thread two(tune, 2);
    one.join();
    two.join();
    for (const std::string& command : commands()) {
        EXPECT_THAT(command, testing::MatchesRegex("AT%SHS=[0-9]+,[0-9]+,[0-9]+\r"));
    }
    EXPECT_THAT(commands(), testing::Not(IsEmpty()));
    EXPECT_EQ(phone.cover.state().refused, 0u);
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
