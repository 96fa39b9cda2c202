// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The settings of the cover screen, of touch and of the pen as events, and why they fail.
#include "tests/display/DisplayTest.h"

#include <filesystem>

#include "tests/display/LpwgClients.h"
#include "tests/kernel/DumpReader.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::Contains;
using testing::ElementsAre;

class DisplayEventsTest : public DisplayTest {
  protected:
    void SetUp() override {
        bringUp();
        forget();
    }
    void forget() { mBefore = lastEventOf(*service); }
    std::vector<std::string> events() { return eventsButUsbOf(*service, mBefore); }

  private:
    uint64_t mBefore = 0;
};

TEST_F(DisplayEventsTest, TellOfSettingsWithTheirValues) {
    service->setBrightness(128);
    service->setRgbTune(1, 2, 3, UINT32_MAX);
    service->setScreenTune(4, 5, 6, 7);
    service->setScreenMode(ScreenMode(2));
    service->setStatus({-5, INT32_MAX});
    service->setAesMode(UINT32_MAX);
    service->set_touch_perf(true);
    EXPECT_THAT(events(),
                ElementsAre("setting brightness [128]", "setting colour.rgb [1,2,3,4294967295]",
                            "setting colour.tune [4,5,6]", "setting colour.mode [2]",
                            "setting lpwg [-5,2147483647]", "setting aes [4294967295]",
                            "setting touchPerformance [1]"));
    awaitSent(128);
}

TEST_F(DisplayEventsTest, TellOfThePenModeEverywhere) {
    service->manageAesMode(7);
    EXPECT_THAT(events(), ElementsAre("setting aes.everywhere [7]", "setting aes [2]"));
}

TEST_F(DisplayEventsTest, TellOfPower) {
    powerOn();
    EXPECT_THAT(events(), ElementsAre("setting power [1,0]"));
    forget();
    service->setPowerStatus(false, true);
    EXPECT_THAT(events(), ElementsAre("setting power [0,1]"));
}

TEST_F(DisplayEventsTest, TellOfAScreenThatDoesNotComeOn) {
    setHotPlugPolls(11);
    EXPECT_EQ(service->setPowerStatus(true, false), Status::FAIL);
    EXPECT_THAT(events(),
                ElementsAre("setting power [1,0]", "failure setPowerStatus HPD Status failed"));
}

TEST_F(DisplayEventsTest, TellOfALevelThatThereIsNot) {
    EXPECT_EQ(service->setBrightness(256), Status::OK);
    EXPECT_THAT(events(), ElementsAre("setting brightness [256]",
                                      "failure setBrightness invalid brightness value"));
}

TEST_F(DisplayEventsTest, TellOfAnOffsetAndTheLevelThatItSendsAnew) {
    powerOn();
    service->setBrightness(100);
    awaitSent(100);
    forget();
    service->setBVBrightnessOffset(-10);
    EXPECT_THAT(events(), ElementsAre("setting offset [-10]", "setting brightness [100]"));
}

TEST_F(DisplayEventsTest, TellOfAnOffsetForADarkScreen) {
    EXPECT_EQ(service->setBVBrightnessOffset(5), Status::FAIL);
    EXPECT_THAT(events(), ElementsAre("setting offset [5]",
                                      "failure setBVBrightnessOffset the screen is off"));
}

TEST_F(DisplayEventsTest, TellOfCallsWithoutACover) {
    detach();
    forget();
    service->setPowerStatus(true, false);
    service->setBVBrightnessOffset(5);
    service->set_touch_perf(false);
    EXPECT_THAT(
            events(),
            ElementsAre("setting power [1,0]", "failure setPowerStatus bv2 not initialized",
                        "setting offset [5]", "failure setBVBrightnessOffset bv2 not initialized",
                        "setting touchPerformance [0]",
                        "failure set_touch_perf bv2 not initialized"));
}

TEST_F(DisplayEventsTest, TellOfTestResultsThatCannotBeKept) {
    std::filesystem::remove_all(phone::kTouchFolder);
    EXPECT_EQ(service->getTestResults(), Status::FAIL);
    EXPECT_THAT(events(), ElementsAre("failure getTestResults Cannot open path"));
    std::filesystem::create_directories(phone::kTouchFolder);
}

TEST_F(DisplayEventsTest, TellOfATouchUpgrade) {
    service->DoTouchFirmwareUpgrade();
    EXPECT_THAT(events(), ElementsAre("upgrade AT%TCHNOTIFY=FW_UPGRADE OK"));
}

TEST_F(DisplayEventsTest, TellOfATouchUpdateStateThatCannotBeRead) {
    phone.faults.set(std::string("node ") + phone::kUpdateState + " unreadable");
    EXPECT_EQ(service->bv_update_state(), Status::FAIL);
    EXPECT_THAT(events(), Contains("failure bv_update_state the kernel's node cannot be read"));
}

TEST_F(DisplayEventsTest, TellOfTheLpwgCallback) {
    const auto version = [&] {
        const std::string text = dumpOf(*service, {"--events"});
        const size_t at = text.find("\n  lpwg  ") + sizeof("\n  lpwg  ");
        return text.substr(text.find_first_not_of(' ', at), 4);
    };
    EXPECT_EQ(version(), "null");
    service->setLpwgCallback(nullptr);
    service->setLpwgCallback(new LpwgClient1_0);
    EXPECT_EQ(version(), "1.0\n");
    service->setLpwgCallback(new LpwgClient1_1);
    EXPECT_EQ(version(), "1.1\n");
    EXPECT_THAT(events(), ElementsAre("callback lpwg registered", "callback lpwg replaced"));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
