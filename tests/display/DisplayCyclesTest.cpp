// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover comes, is switched on and off, and goes, again and again. SOAK_CYCLES sets how often.
#include <cstdlib>

#include "display/Display.h"
#include "tests/display/DisplayTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::ElementsAre;

int cycles() {
    const char* text = std::getenv("SOAK_CYCLES");
    return text != nullptr ? std::atoi(text) : 20;
}

class DisplayCyclesTest : public DisplayTest {
  protected:
    // What a client does on the one thread of its calls.
    void useAll(int round) {
        const auto value = static_cast<uint32_t>(round);
        service->setPowerStatus(round % 2 == 0, false);
        service->setBrightness(round % 256);
        service->setBVBrightnessOffset(round % 3 == 0 ? 100 : -round);
        service->setRgbTune(value, 0, 0, 0);
        service->setScreenTune(value, 1, 1, 0);
        service->setScreenMode(static_cast<ScreenMode>(round));
        service->getBV2Connect();
        EXPECT_TRUE(service->getBV2Status([](Status, const BivistaStatus&) {}).isOk());
        EXPECT_TRUE(service->getCoverDisplayCutout([](Status, const hidl_string&) {}).isOk());
    }
};

TEST_F(DisplayCyclesTest, EachIsLikeTheFirst) {
    bringUp();
    setHotPlugPolls(0);
    for (int i = 0; i < cycles(); ++i) {
        detach();
        attach();
        mark();
        ASSERT_EQ(service->setPowerStatus(true, false), Status::OK) << i;
        ASSERT_EQ(service->setPowerStatus(false, false), Status::OK) << i;
        ASSERT_THAT(commands(), ElementsAre("AT%LOGSAVE=3\r", "AT%BV=1\r", "AT%HPD\r", "AT%BV=0\r"))
                << i;
        ASSERT_THAT(lines(), ElementsAre(infoLine("setPowerStatus: Bivista : , ret:0"),
                                         infoLine("setPowerStatus:HPD status changed :On, ret:3, "
                                                  "trial:0"),
                                         debugLine("Writing 1 0 to /sys/class/bivista/bv2/bv2_pd"),
                                         infoLine("setPowerStatus: Bivista:"),
                                         debugLine("Writing 0 0 to /sys/class/bivista/bv2/bv2_pd")))
                << i;
    }
}

TEST_F(DisplayCyclesTest, AClientThatNeverRestsFindsTheDisplayUpAtTheEnd) {
    start();
    setHotPlugPolls(0);
    std::atomic<bool> done = false;
    std::thread client([&] {
        for (int round = 0; !done; ++round) useAll(round);
    });
    for (int i = 0; i < cycles(); ++i) {
        attach();
        detach();
        log.clear();
    }
    done = true;
    client.join();
    attach();
    ASSERT_EQ(service->setPowerStatus(true, false), Status::OK);
    ASSERT_EQ(service->setBVBrightnessOffset(0), Status::OK);
    mark();
    ASSERT_EQ(service->setBrightness(200), Status::OK);
    awaitSent(200);
    EXPECT_EQ(phone.cover.state().screen.brightness, 200);
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
