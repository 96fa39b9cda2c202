// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Levels on their way from setBrightness to the cover.
#include <climits>

#include "display/Display.h"
#include "tests/display/DisplayTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

std::vector<int32_t> range(int32_t first, int32_t last) {
    std::vector<int32_t> values;
    for (int32_t value = first; value <= last; ++value) values.push_back(value);
    return values;
}

std::string levelCommand(int32_t level) {
    return "AT%DB=" + std::to_string(level) + "\r";
}

std::string failure(const std::string& answer) {
    return "BrightnessThread: failed to serial AtCmd: " + answer + ", ret: -1";
}

class BrightnessTest : public DisplayTest {
  protected:
    void setLevels(const std::vector<int32_t>& levels) {
        for (const int32_t level : levels) EXPECT_EQ(service->setBrightness(level), Status::OK);
    }
};

TEST_F(BrightnessTest, ALevelReachesTheCover) {
    bringUp();
    EXPECT_EQ(service->setBrightness(128), Status::OK);
    awaitSent(128);
    EXPECT_THAT(commands(), ElementsAre("AT%DB=128\r"));
    EXPECT_THAT(nodeWrites(), ElementsAre("control=on", "control=auto"));
    EXPECT_THAT(lines(), ElementsAre(infoLine(kRestLine)));
    EXPECT_EQ(phone.cover.state().screen.brightness, 128);
    EXPECT_EQ(lastBrightness(), 128);
}

TEST_F(BrightnessTest, TheBoundsAreAccepted) {
    bringUp();
    setLevels({255, 0});
    awaitSent(0);
    EXPECT_THAT(commands(), ElementsAre("AT%DB=255\r", "AT%DB=0\r"));
}

TEST_F(BrightnessTest, ALevelOutOfRangeIsLoggedAndDropped) {
    bringUp();
    setLevels({17});
    awaitSent(17);
    mark();
    setLevels({256, -1, INT_MAX, INT_MIN});
    EXPECT_THAT(lines(),
                ElementsAre(errorLine("invalid brightness value:256, old_value:17"),
                            errorLine("invalid brightness value:-1, old_value:17"),
                            errorLine("invalid brightness value:2147483647, old_value:17"),
                            errorLine("invalid brightness value:-2147483648, old_value:17")));
    EXPECT_THAT(queue(), IsEmpty());
    EXPECT_EQ(lastBrightness(), 17);
    setLevels({18});
    awaitSent(18);
    EXPECT_THAT(commands(), ElementsAre("AT%DB=18\r"));
}

TEST_F(BrightnessTest, OfAsManyLevelsAsComeTheLastTwentyAreSentInOrder) {
    bringUp();
    blockWorkerWith(200);
    setLevels(range(1, 25));
    EXPECT_EQ(queue(), range(6, 25));
    freeLink();
    awaitSent(25);
    std::vector<std::string> expected = {"AT%DB=200\r"};
    for (const int32_t level : range(6, 25)) expected.push_back(levelCommand(level));
    EXPECT_THAT(commands(), ElementsAreArray(expected));
    EXPECT_EQ(phone.cover.state().screen.brightness, 25);
}

TEST_F(BrightnessTest, LevelsBeforeTheFirstAttachmentPileUpAndAreFlushed) {
    start();
    setLevels({1, 2, 3});
    std::vector<int32_t> expected(17, 0);
    expected.insert(expected.end(), {1, 2, 3});
    EXPECT_EQ(queue(), expected);
    setLevels(range(4, 25));
    EXPECT_EQ(queue(), range(6, 25));
    attach();
    log.waitFor(kRestLine);
    mark();
    setLevels({77});
    awaitSent(77);
    EXPECT_THAT(commands(), ElementsAre("AT%DB=77\r"));
}

TEST_F(BrightnessTest, LevelsAfterADetachFailOneByOne) {
    bringUp();
    detach();
    mark();
    setLevels({5});
    log.waitFor(kRestLine, log.waitFor(ANDROID_LOG_ERROR, failure("")));
    setLevels({6});
    log.waitFor(kRestLine, log.waitFor(failure(""), log.waitFor(failure(""))));
    EXPECT_THAT(commands(), IsEmpty());
    EXPECT_THAT(queue(), IsEmpty());
}

TEST_F(BrightnessTest, AFailedCommandIsForgottenAndTheNextOneSent) {
    bringUp();
    phone.faults.set("on AT%DB=30 error");
    blockWorkerWith(10);
    setLevels({30, 40});
    freeLink();
    awaitSent(40);
    EXPECT_THAT(commands(), ElementsAre("AT%DB=10\r", "AT%DB=30\r", "AT%DB=40\r"));
    EXPECT_THAT(lines("BrightnessThread: failed"), ElementsAre(errorLine(failure(""))));
}

// Meant: the answer is not cleared between commands.
TEST_F(BrightnessTest, AFailureShowsTheAnswerOfAnEarlierCommand) {
    bringUp();
    phone.faults.set(R"(on AT%DB=1 answer "\r\nearlier\r\nOK\r\n")");
    phone.faults.set("on AT%DB=2 error");
    setLevels({1});
    awaitSent(1);
    setLevels({2});
    awaitSent(2);
    EXPECT_THAT(lines("BrightnessThread: failed"), ElementsAre(errorLine(failure("earlier"))));
}

// An answer longer than its buffer leaves no NUL when the command fails.
TEST_F(BrightnessTest, AnAnswerLongerThanItsBufferIsLoggedWithinIt) {
    bringUp();
    phone.faults.set("on AT%DB=1 answer \"\\r\\n" + std::string(3000, 'x') + "\\r\\nERROR\\r\\n\"");
    phone.faults.set("on AT%DB=2 error");
    phone.faults.set(R"(on AT%DB=3 answer "\r\nshort\r\nERROR\r\n")");
    setLevels({1});
    awaitSent(1);
    setLevels({2});
    awaitSent(2);
    const std::string shown = "BrightnessThread: failed to serial AtCmd: " + std::string(900, 'x');
    EXPECT_THAT(lines(shown), testing::SizeIs(2));
    // What is left of the longer answer shows after the shorter one.
    setLevels({3});
    awaitSent(3);
    EXPECT_THAT(lines("BrightnessThread: failed to serial AtCmd: short\nxxxxx"),
                testing::SizeIs(1));
}

TEST_F(BrightnessTest, LevelsAreSentWhetherTheScreenIsOnOrNot) {
    bringUp();
    setLevels({9});
    awaitSent(9);
    powerOn();
    setLevels({8});
    awaitSent(8);
    EXPECT_THAT(commands(), ElementsAre("AT%DB=8\r"));
}

TEST_F(BrightnessTest, NothingIsSentOfAQueueThatPowerOffEmptied) {
    bringUp();
    powerOn();
    fillQueue({10, 20});
    EXPECT_EQ(service->setPowerStatus(false, false), Status::OK);
    setLevels({30});
    awaitSent(30);
    EXPECT_THAT(commands(), ElementsAre("AT%BV=0\r", "AT%DB=30\r"));
}

TEST_F(BrightnessTest, TheLastLevelOfManyThreadsIsTheCovers) {
    bringUp();
    std::vector<std::thread> clients;
    for (int32_t client = 0; client < 4; ++client) {
        clients.emplace_back([=, this] {
            for (int32_t i = 0; i < 60; ++i) service->setBrightness(client * 60 + i);
        });
    }
    for (std::thread& client : clients) client.join();
    awaitSent(lastBrightness());
    const std::vector<std::string> sent = commands();
    ASSERT_FALSE(sent.empty());
    EXPECT_EQ(sent.back(), levelCommand(lastBrightness()));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
