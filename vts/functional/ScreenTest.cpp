// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover screen: power, brightness, colours, cutout.
#include "BivistaTest.h"

#include <cstdint>

namespace bivista_vts {
namespace {

using vendor::qmx::hardware::bivista::V1_0::ScreenMode;

// Settings are taken with or without a cover, and whatever their value.
class ScreenSettingsTest : public BivistaTest {
  protected:
    // As a fresh cover has them: extreme values reach no screen that is off.
    void TearDown() override {
        if (service == nullptr) return;
        EXPECT_EQ(statusOf(service->setRgbTune(2, 0, 0, 0)), Status::OK);
        EXPECT_EQ(statusOf(service->setScreenTune(2, 2, 2, 0)), Status::OK);
        EXPECT_EQ(statusOf(service->setScreenMode(ScreenMode::DEFAULT)), Status::OK);
    }
};

TEST_P(ScreenSettingsTest, BrightnessIsAlwaysTaken) {
    for (const int32_t level : {0, 1, 128, 255, 256, -1, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(statusOf(service->setBrightness(level)), Status::OK) << level;
    }
}

TEST_P(ScreenSettingsTest, ABurstOfBrightnessIsTaken) {
    for (int32_t level = 0; level < 256; ++level) {
        EXPECT_EQ(statusOf(service->setBrightness(level)), Status::OK) << level;
    }
}

TEST_P(ScreenSettingsTest, ColoursAreAlwaysTaken) {
    for (const uint32_t value : {0u, 1u, 2u, 0x7fffffffu, 0x80000000u, UINT32_MAX}) {
        EXPECT_EQ(statusOf(service->setRgbTune(value, value, value, value)), Status::OK) << value;
        EXPECT_EQ(statusOf(service->setScreenTune(value, value, value, value)), Status::OK)
                << value;
    }
}

TEST_P(ScreenSettingsTest, ModesAreAlwaysTaken) {
    for (const int32_t mode : {0, 1, 2, 3, 4, -1, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(statusOf(service->setScreenMode(ScreenMode(mode))), Status::OK) << mode;
    }
}

// Begins and ends with the screen off. Each power-on is a vote against USB autosuspend, which a
// power-off withdraws: a test has as many of one as of the other.
class ScreenTest : public CoverTest {
  protected:
    void TearDown() override {
        if (service != nullptr && isCoverOn() && isScreenOn()) switchTo(false);
    }
    void switchTo(bool enable) const {
        EXPECT_EQ(statusOf(service->setPowerStatus(enable, false)), Status::OK) << enable;
    }
};

TEST_P(ScreenTest, IsSwitched) {
    for (const bool uevent : {false, true}) {
        EXPECT_EQ(statusOf(service->setPowerStatus(true, uevent)), Status::OK) << uevent;
        EXPECT_TRUE(isScreenOn());
        EXPECT_EQ(send("AT%HPD").text.substr(0, 2), "On");
        EXPECT_EQ(statusOf(service->setPowerStatus(false, uevent)), Status::OK) << uevent;
        EXPECT_FALSE(isScreenOn());
        EXPECT_NE(send("AT%HPD").text.substr(0, 2), "On");
    }
}

TEST_P(ScreenTest, IsSwitchedAgainWhenAsked) {
    switchTo(true);
    switchTo(true);
    EXPECT_TRUE(isScreenOn());
    switchTo(false);
    switchTo(false);
    EXPECT_FALSE(isScreenOn());
}

TEST_P(ScreenTest, ThatIsOffRefusesOffsets) {
    for (const int32_t offset : {INT32_MIN, -10, 100, INT32_MAX, 0}) {
        EXPECT_EQ(statusOf(service->setBVBrightnessOffset(offset)), Status::FAIL) << offset;
    }
}

TEST_P(ScreenTest, ThatIsOnTakesOffsets) {
    switchTo(true);
    EXPECT_EQ(statusOf(service->setBrightness(128)), Status::OK);
    for (const int32_t offset : {INT32_MIN, -10, 100, 10, INT32_MAX, 0}) {
        EXPECT_EQ(statusOf(service->setBVBrightnessOffset(offset)), Status::OK) << offset;
    }
    EXPECT_EQ(send("AT").status, Status::OK);
}

TEST_P(ScreenTest, ThatIsOnTakesColours) {
    switchTo(true);
    EXPECT_EQ(statusOf(service->setRgbTune(1, 2, 3, 4)), Status::OK);
    EXPECT_EQ(statusOf(service->setScreenTune(1, 2, 3, 4)), Status::OK);
    EXPECT_EQ(statusOf(service->setScreenMode(ScreenMode::MODE_1)), Status::OK);
    EXPECT_EQ(statusOf(service->setRgbTune(2, 0, 0, 0)), Status::OK);
    EXPECT_EQ(statusOf(service->setScreenTune(2, 2, 2, 0)), Status::OK);
    EXPECT_EQ(statusOf(service->setScreenMode(ScreenMode::DEFAULT)), Status::OK);
}

TEST_P(ScreenTest, HasTheCutoutThatTheCoverDescribes) {
    const TextResult cutout = query(&V1_0::IBivista::getCoverDisplayCutout);
    EXPECT_EQ(cutout.status, Status::OK);
    EXPECT_EQ(cutout.text, send("AT%GETBVCUTOUT").text);
    EXPECT_EQ(query(&V1_0::IBivista::getCoverDisplayCutout).text, cutout.text);
}

BIVISTA_PER_INSTANCE(ScreenSettingsTest);
BIVISTA_PER_INSTANCE(ScreenTest);

}  // namespace
}  // namespace bivista_vts
