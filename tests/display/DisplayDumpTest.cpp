// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover screen, its brightness and its colours in the debug dump.
#include "tests/display/DisplayTest.h"

#include <nlohmann/json.hpp>
#include "tests/kernel/DumpReader.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using Json = nlohmann::json;

class DisplayDumpTest : public DisplayTest {
  protected:
    void SetUp() override { bringUp(); }
    Json dump() { return dumpJsonOf(*service); }
    static Json brightness(int value, int queued, int highWater, int offset, int steps,
                           bool bypass) {
        return {{"value", value},   {"queued", queued},     {"highWater", highWater},
                {"offset", offset}, {"offsetSteps", steps}, {"offsetBypass", bypass}};
    }
    static Json colour(const char* group, const Json& values, bool pending, const Json& applied) {
        return {{"group", group}, {"values", values}, {"pending", pending}, {"applied", applied}};
    }
};

TEST_F(DisplayDumpTest, TellsWhetherTheScreenIsOn) {
    EXPECT_EQ(dump()["display"], Json({{"initialized", true}, {"screenOn", false}}));
    EXPECT_EQ(dump()["usb"]["votes"], 0);
    powerOn();
    EXPECT_EQ(dump()["display"], Json({{"initialized", true}, {"screenOn", true}}));
    EXPECT_EQ(dump()["usb"]["votes"], 1);
}

TEST_F(DisplayDumpTest, CallsTheThreadOfTheBrightnessByItsWork) {
    service->setBrightness(1);
    awaitSent(1);
    EXPECT_THAT(threadNamesOf(*service), testing::Contains("brightness"));
}

TEST_F(DisplayDumpTest, TellsOfTheBrightnessQueue) {
    blockWorkerWith(7);
    service->setBrightness(8);
    service->setBrightness(9);
    EXPECT_EQ(dump()["brightness"], brightness(9, 2, 2, 0, 0, false));
    freeLink();
    awaitSent(9);
    EXPECT_EQ(dump()["brightness"], brightness(9, 0, 2, 0, 0, false));
    dumpOf(*service, {"--reset"});
    EXPECT_EQ(dump()["brightness"], brightness(9, 0, 0, 0, 0, false));
}

TEST_F(DisplayDumpTest, KnowsHowLongTheQueueWas) {
    blockWorkerWith(7);
    for (int level = 10; level < 40; ++level) service->setBrightness(level);
    service->setBrightness(256);
    EXPECT_EQ(dump()["brightness"], brightness(39, 20, 20, 0, 0, false));
    freeLink();
    awaitSent(39);
    EXPECT_EQ(dump()["brightness"]["highWater"], 20);
}

TEST_F(DisplayDumpTest, ForgetsNotWhatStillWaits) {
    blockWorkerWith(7);
    for (const int level : {8, 9, 10}) service->setBrightness(level);
    dumpOf(*service, {"--reset"});
    EXPECT_EQ(dump()["brightness"], brightness(10, 3, 3, 0, 0, false));
    freeLink();
    awaitSent(10);
    EXPECT_EQ(dump()["brightness"], brightness(10, 0, 3, 0, 0, false));
}

TEST_F(DisplayDumpTest, TellsOfTheOffset) {
    powerOn();
    blockWorkerWith(200);
    service->setBVBrightnessOffset(-20);
    EXPECT_EQ(dump()["brightness"], brightness(200, 1, 1, -20, 1, false));
    service->setBVBrightnessOffset(100);
    EXPECT_EQ(dump()["brightness"], brightness(200, 1, 1, -20, 1, true));
    freeLink();
    awaitSent(160);
}

TEST_F(DisplayDumpTest, TellsOfColoursThatWaitAndThatAreApplied) {
    EXPECT_EQ(dump()["colour"], Json({colour("rgb", {2, 0, 0, 0}, false, {2, 0, 0, 0}),
                                      colour("tune", {2, 2, 2}, false, {2, 2, 2}),
                                      colour("mode", Json::array({0}), false, Json::array({0}))}));
    service->setRgbTune(1, 20, 30, 0xFFFFFFFF);
    service->setScreenMode(static_cast<ScreenMode>(3));
    EXPECT_EQ(dump()["colour"], Json({colour("rgb", {1, 20, 30, -1}, true, {2, 0, 0, 0}),
                                      colour("tune", {2, 2, 2}, false, {2, 2, 2}),
                                      colour("mode", Json::array({3}), true, Json::array({0}))}));
    powerOn();
    service->setPowerStatus(false, false);
    EXPECT_EQ(dump()["colour"][0], colour("rgb", {1, 20, 30, -1}, false, {1, 20, 30, -1}));
    EXPECT_EQ(dump()["colour"][2], colour("mode", Json::array({3}), false, Json::array({3})));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
