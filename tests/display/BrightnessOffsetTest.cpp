// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The shift of the cover screen's brightness: its arithmetic, and its way through the worker.
#include "display/Brightness.h"

#include <climits>

#include "display/Display.h"
#include "tests/display/DisplayTest.h"
#include "tests/display/OtherBivista.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using support::LogLine;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

struct OffsetState {
    int32_t offset = 0;
    int32_t count = 0;
    bool bypass = false;

    bool operator==(const OffsetState&) const = default;
};

void setState(const OffsetState& state) {
    const MutexLock lock(display_lock, __func__);
    br_offset = state.offset;
    br_offset_count = state.count;
    br_offset_bypass = state.bypass;
}

OffsetState state() {
    const MutexLock lock(display_lock, __func__);
    return {br_offset, br_offset_count, br_offset_bypass};
}

int32_t map(int32_t brightness, int32_t max) {
    const MutexLock lock(display_lock, __func__);
    return br_to_offset_br(brightness, max);
}

LogLine mapped(int32_t from, int32_t to) {
    return infoLine("[dd] " + std::to_string(from) + " -> " + std::to_string(to) + "\n");
}

const LogLine kMin = errorLine("min br level");
const LogLine kMax = errorLine("max br level");
const LogLine kBypass = infoLine("br_to_offset_br: br_offset_bypass true");
// Meant: both numbers are the floor, or the limit.
const LogLine kLower = infoLine("lower than min. br : set 10 to 10");
const LogLine kBigger = infoLine("bigger than max. br : set 255 to 255");

LogLine step(int32_t count) {
    return infoLine("br_to_offset_br: br_offset_count: " + std::to_string(count));
}

struct Mapping {
    const char* name;
    OffsetState before;
    int32_t brightness;
    int32_t result;
    std::vector<LogLine> said;  // ahead of the line with the result
    OffsetState after;
    int32_t max = 0;
};

class MappingTest : public DisplayTest, public testing::WithParamInterface<Mapping> {};

TEST_P(MappingTest, FollowsItsRule) {
    const Mapping& mapping = GetParam();
    setState(mapping.before);
    EXPECT_EQ(map(mapping.brightness, mapping.max), mapping.result);
    std::vector<LogLine> expected = mapping.said;
    expected.push_back(mapped(mapping.brightness, mapping.result));
    EXPECT_THAT(lines(), ElementsAreArray(expected));
    EXPECT_EQ(state(), mapping.after);
}

INSTANTIATE_TEST_SUITE_P(
        Rules, MappingTest,
        testing::Values(
                // The plain rule, a step at a time.
                Mapping{"PlainIsLimited", {5, 1}, 250, 255, {step(1), kBigger}, {5, 0}},
                Mapping{"PlainIsRaised", {-10, 1}, 15, 10, {step(1), kLower}, {-10, 0}},
                Mapping{"PlainUp", {20, 3}, 100, 140, {step(3)}, {20, 2}},
                Mapping{"PlainDown", {-20, 1}, 100, 60, {step(1)}, {-20, 0}},
                Mapping{"PlainReachesTheLimit", {5, 1}, 245, 255, {step(1)}, {5, 0}},
                Mapping{"PlainReachesTheFloor", {-45, 1}, 100, 10, {step(1)}, {-45, 0}},
                // The bypass goes first and costs no step.
                Mapping{"Bypass", {20, 3, true}, 100, 140, {kBypass}, {20, 3}},
                Mapping{"BypassIsLimited", {90, 0, true}, 100, 255, {kBypass, kBigger}, {90, 0}},
                // At rest.
                Mapping{"PositiveRests", {5, 0}, 100, 100, {}, {5, 0}},
                Mapping{"ZeroRests", {0, 0}, 10, 10, {}, {0, 0}},
                Mapping{"NegativeShifts", {-5, 0}, 100, 90, {}, {-5, 0}},
                Mapping{"NegativeCompresses", {-5, 0}, 20, 15, {}, {-5, 0}},
                Mapping{"TheLinesMeet", {-5, 0}, 30, 20, {}, {-5, 0}},
                Mapping{"AboveTheMeeting", {-5, 0}, 31, 21, {}, {-5, 0}},
                Mapping{"TheFloorStays", {-5, 0}, 10, 10, {}, {-5, 0}},
                Mapping{"DivisionTruncates", {-3, 0}, 15, 12, {}, {-3, 0}},
                // Outside of the range nothing is taken off.
                Mapping{"BelowTheFloor", {5, 2, true}, 9, 10, {kMin, kLower}, {5, 2, true}},
                Mapping{"Five", {0, 0}, 5, 10, {kMin, kLower}, {0, 0}},
                Mapping{"Zero", {0, 0}, 0, 10, {kMin, kLower}, {0, 0}},
                Mapping{"Smallest", {0, 0}, INT_MIN, 10, {kMin, kLower}, {0, 0}},
                Mapping{"AboveTheLimit", {5, 2, true}, 300, 255, {kMax}, {5, 2, true}},
                Mapping{"Greatest", {0, 0}, INT_MAX, 255, {kMax}, {0, 0}},
                Mapping{"AtTheLimit", {0, 0}, 255, 255, {}, {0, 0}}),
        [](const auto& info) { return info.param.name; });

INSTANTIATE_TEST_SUITE_P(
        Limits, MappingTest,
        testing::Values(Mapping{"OfACaller",
                                {10, 1},
                                90,
                                100,
                                {step(1), infoLine("bigger than max. br : set 100 to 100")},
                                {10, 0},
                                100},
                        Mapping{"OfACallerPassed", {0, 0}, 101, 100, {kMax}, {0, 0}, 100},
                        Mapping{"BelowTheFloor", {0, 0}, 50, 10, {kMax, kLower}, {0, 0}, 5},
                        Mapping{"BelowZero", {0, 0}, 50, 10, {kMax, kLower}, {0, 0}, -1}),
        [](const auto& info) { return info.param.name; });

// Meant: the log has the count set to 0, which the worker does later.
INSTANTIATE_TEST_SUITE_P(
        NegativeCounts, MappingTest,
        testing::Values(
                Mapping{"Kept",
                        {5, -2},
                        100,
                        100,
                        {infoLine("br_to_offset_br: set br_offset_count 0, current: -2")},
                        {5, -2}},
                Mapping{"KeptAtTheSmallest",
                        {-5, INT_MIN},
                        100,
                        90,
                        {infoLine("br_to_offset_br: set br_offset_count 0, current: -2147483648")},
                        {-5, INT_MIN}}),
        [](const auto& info) { return info.param.name; });

constexpr int32_t kQuarter = 0x40000000;

// Arithmetic wraps at 32 bits, and a division by zero gives 0.
INSTANTIATE_TEST_SUITE_P(
        Extremes, MappingTest,
        testing::Values(
                Mapping{"GreatestPlain", {INT_MAX, 1}, 100, 98, {step(1)}, {INT_MAX, 0}},
                Mapping{"GreatestBypass", {INT_MAX, 0, true}, 100, 98, {kBypass}, {INT_MAX, 0}},
                Mapping{"GreatestRests", {INT_MAX, 0}, 100, 100, {}, {INT_MAX, 0}},
                Mapping{"SmallestPlain", {INT_MIN, 1}, 100, 100, {step(1)}, {INT_MIN, 0}},
                Mapping{"SmallestShifts", {INT_MIN, 0}, 100, 100, {}, {INT_MIN, 0}},
                Mapping{"SmallestDividesByZero", {INT_MIN, 0}, 10, 10, {}, {INT_MIN, 0}},
                Mapping{"QuarterPlain", {kQuarter, 1}, 100, 10, {step(1), kLower}, {kQuarter, 0}},
                Mapping{"QuarterDividesByZero", {-kQuarter, 0}, 10, 10, {}, {-kQuarter, 0}},
                Mapping{"QuarterShifts", {-kQuarter, 0}, 100, 10, {kLower}, {-kQuarter, 0}},
                Mapping{"AnEighth", {-kQuarter / 2, 0}, 100, 10, {kLower}, {-kQuarter / 2, 0}},
                Mapping{"ASixteenth", {-kQuarter / 4, 0}, 100, 11, {}, {-kQuarter / 4, 0}},
                Mapping{"AlmostTheSmallest", {INT_MIN + 1, 0}, 100, 102, {}, {INT_MIN + 1, 0}}),
        [](const auto& info) { return info.param.name; });

class BrightnessOffsetTest : public DisplayTest {
  protected:
    Status offset(int32_t value) { return service->setBVBrightnessOffset(value); }
    // Has the worker send a level and rest.
    void settle(int32_t level) {
        ASSERT_EQ(service->setBrightness(level), Status::OK);
        awaitSent(level);
        mark();
    }
};

// Meant: the offset is kept, and the call succeeds. The bypass is an offset like any other here.
TEST_F(BrightnessOffsetTest, IsStoredBeforeTheFirstAttachment) {
    start();
    log.waitFor("usbThread: creating");
    mark();
    EXPECT_EQ(offset(-7), Status::OK);
    EXPECT_EQ(state(), (OffsetState{-7, 0, false}));
    EXPECT_EQ(offset(100), Status::OK);
    EXPECT_EQ(state(), (OffsetState{100, 0, false}));
    EXPECT_THAT(lines(),
                ElementsAre(errorLine("setBVBrightnessOffset: bv2 not initialized, value:-7"),
                            errorLine("setBVBrightnessOffset: bv2 not initialized, value:100")));
    EXPECT_EQ(queue(), std::vector<int32_t>(20, 0));
}

TEST_F(BrightnessOffsetTest, IsStoredAfterADetachAsBeforeAnAttach) {
    bringUp();
    detach();
    mark();
    EXPECT_EQ(offset(-7), Status::OK);
    EXPECT_EQ(offset(100), Status::OK);
    EXPECT_EQ(state(), (OffsetState{100, 0, false}));
    EXPECT_THAT(lines(),
                ElementsAre(errorLine("setBVBrightnessOffset: bv2 not initialized, value:-7"),
                            errorLine("setBVBrightnessOffset: bv2 not initialized, value:100")));
}

// Meant: without the lock.
TEST_F(BrightnessOffsetTest, IsStoredBeforeTheFirstAttachmentWhoeverHoldsTheLock) {
    start();
    const MutexLock lock(display_lock, __func__);
    EXPECT_EQ(offset(-7), Status::OK);
    EXPECT_EQ(br_offset, -7);
}

TEST_F(BrightnessOffsetTest, IsStoredAndRefusedWhileTheScreenIsOff) {
    bringUp();
    settle(100);
    EXPECT_EQ(offset(-7), Status::FAIL);
    EXPECT_EQ(state(), (OffsetState{-7, 0, false}));
    // Meant: the bypass is an offset like any other here.
    EXPECT_EQ(offset(100), Status::FAIL);
    EXPECT_EQ(state(), (OffsetState{100, 0, false}));
    EXPECT_THAT(lines(), ElementsAre(infoLine("request br_offset is -7"),
                                     infoLine("request br_offset is 100")));
    EXPECT_THAT(queue(), IsEmpty());
    EXPECT_THAT(commands(), IsEmpty());
}

TEST_F(BrightnessOffsetTest, TakesEffectWithTheNextLevel) {
    bringUp();
    EXPECT_EQ(offset(-7), Status::FAIL);
    EXPECT_EQ(service->setBrightness(100), Status::OK);
    awaitSent(86);
    EXPECT_THAT(commands(), ElementsAre("AT%DB=86\r"));
}

TEST_F(BrightnessOffsetTest, SendsTheCurrentLevelShiftedOnce) {
    bringUp();
    powerOn();
    settle(100);
    EXPECT_EQ(offset(5), Status::OK);
    awaitSent(110);
    EXPECT_THAT(lines(), ElementsAre(infoLine("request br_offset is 5"), step(1), mapped(100, 110),
                                     infoLine(kRestLine)));
    // At rest a positive offset shifts nothing.
    EXPECT_EQ(service->setBrightness(101), Status::OK);
    awaitSent(101);
    EXPECT_THAT(commands(), ElementsAre("AT%DB=110\r", "AT%DB=101\r"));
}

// Meant: the latest level is mapped, whatever was queued.
TEST_F(BrightnessOffsetTest, MapsTheLatestLevelForEachQueuedOne) {
    bringUp();
    powerOn();
    settle(100);
    setState({-5, 0, false});
    fillQueue({40, 100, 150});
    EXPECT_EQ(service->setBrightness(200), Status::OK);
    log.waitFor(kRestLine);
    EXPECT_EQ(commands(), std::vector<std::string>(4, "AT%DB=190\r"));
}

TEST_F(BrightnessOffsetTest, EachCallIsOneShiftedStep) {
    bringUp();
    powerOn();
    blockWorkerWith(100);
    EXPECT_EQ(offset(5), Status::OK);
    EXPECT_EQ(offset(6), Status::OK);
    EXPECT_EQ(state(), (OffsetState{6, 2, false}));
    EXPECT_EQ(service->setBrightness(50), Status::OK);
    mark();
    freeLink();
    awaitSent(50);
    // Two steps by the plain rule with what the offset is now, then rest.
    EXPECT_THAT(commands(), ElementsAre("AT%DB=100\r", "AT%DB=62\r", "AT%DB=62\r", "AT%DB=50\r"));
    EXPECT_EQ(state(), (OffsetState{6, 0, false}));
}

// Meant: an empty queue discards the steps that no level has used.
TEST_F(BrightnessOffsetTest, AnEmptyQueueEndsTheShiftedSteps) {
    bringUp();
    powerOn();
    settle(100);
    setState({5, 3, false});
    EXPECT_EQ(service->setBrightness(100), Status::OK);
    awaitSent(110);
    EXPECT_EQ(state(), (OffsetState{5, 0, false}));
}

TEST_F(BrightnessOffsetTest, IsNotAppliedWithoutALevel) {
    bringUp();
    powerOn();
    EXPECT_EQ(offset(5), Status::OK);
    awaitSent(0);
    EXPECT_THAT(commands(), ElementsAre("AT%DB=0\r"));
    EXPECT_THAT(lines(), ElementsAre(infoLine("request br_offset is 5"), infoLine(kRestLine)));
}

TEST_F(BrightnessOffsetTest, IsNotAppliedWhenTheLatestLevelIsZero) {
    bringUp();
    setState({-5, 0, false});
    fillQueue({50});
    EXPECT_EQ(service->setBrightness(0), Status::OK);
    awaitSent(0);
    EXPECT_THAT(commands(), ElementsAre("AT%DB=50\r", "AT%DB=0\r"));
}

TEST_F(BrightnessOffsetTest, OneHundredArmsTheBypassAndQueuesNothing) {
    bringUp();
    powerOn();
    settle(100);
    setState({20, 0, false});
    EXPECT_EQ(offset(100), Status::OK);
    EXPECT_EQ(state(), (OffsetState{20, 0, true}));
    EXPECT_THAT(lines(), ElementsAre(infoLine("enalble br offset bypass")));
    EXPECT_THAT(queue(), IsEmpty());
    EXPECT_THAT(commands(), IsEmpty());

    EXPECT_EQ(service->setBrightness(100), Status::OK);
    awaitSent(140);
    EXPECT_EQ(state(), (OffsetState{20, 0, false}));
    EXPECT_EQ(service->setBrightness(100), Status::OK);
    awaitSent(100);
    EXPECT_THAT(commands(), ElementsAre("AT%DB=140\r", "AT%DB=100\r"));
}

TEST_F(BrightnessOffsetTest, AnyOtherOffsetDisarmsTheBypass) {
    bringUp();
    powerOn();
    settle(100);
    EXPECT_EQ(offset(100), Status::OK);
    EXPECT_EQ(offset(101), Status::OK);
    EXPECT_FALSE(state().bypass);
    awaitSent(255);
}

TEST_F(BrightnessOffsetTest, SurvivesPowerOffAndDetach) {
    bringUp();
    powerOn();
    setState({-8, 0, true});
    EXPECT_EQ(service->setPowerStatus(false, false), Status::OK);
    EXPECT_EQ(state(), (OffsetState{-8, 0, true}));
    detach();
    EXPECT_EQ(state(), (OffsetState{-8, 0, true}));
}

struct Sent {
    const char* name;
    int32_t offset;
    int32_t shifted;
    int32_t rests;
};
class AnyOffsetTest : public BrightnessOffsetTest, public testing::WithParamInterface<Sent> {};

TEST_P(AnyOffsetTest, GivesALevelThatTheCoverTakes) {
    bringUp();
    powerOn();
    settle(100);
    EXPECT_EQ(offset(GetParam().offset), Status::OK);
    awaitSent(GetParam().shifted);
    mark();
    EXPECT_EQ(service->setBrightness(100), Status::OK);
    awaitSent(GetParam().rests);
    EXPECT_THAT(commands(), testing::SizeIs(1));
    EXPECT_EQ(phone.cover.state().screen.brightness, GetParam().rests);
}

INSTANTIATE_TEST_SUITE_P(Offsets, AnyOffsetTest,
                         testing::Values(Sent{"Smallest", INT_MIN, 100, 100},
                                         Sent{"Greatest", INT_MAX, 98, 100},
                                         Sent{"One", 1, 102, 100}, Sent{"MinusOne", -1, 98, 98},
                                         Sent{"Quarter", kQuarter, 10, 100},
                                         Sent{"MinusQuarter", -kQuarter, 10, 10},
                                         Sent{"MinusSixteenth", -kQuarter / 4, 10, 11}),
                         [](const auto& info) { return info.param.name; });

TEST_F(BrightnessOffsetTest, ReturnsWhatTheServicesOwnSetBrightnessReturns) {
    std::vector<int32_t> taken;
    start(makeOtherBivista(&taken));
    bv2_initialized = true;
    bv2_screen_on = true;
    fillQueue({33});
    EXPECT_EQ(offset(5), Status::FAIL);
    EXPECT_THAT(taken, ElementsAre(33));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
