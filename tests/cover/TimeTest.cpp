// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// When things are due. The clock is the test's own.
#include <gmock/gmock.h>

#include "tests/cover/Bench.h"

namespace cover {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Deadline, IsAbsentWhenNothingIsDue) {
    QuietBench bench;
    EXPECT_FALSE(bench.controller.nextDeadline());
    EXPECT_THAT(bench.pieces(), IsEmpty());
}

TEST(Deadline, OfAnOrdinaryAnswerIsTheMomentOfItsCommand) {
    QuietBench bench;
    bench.write("AT\r");
    EXPECT_EQ(bench.controller.nextDeadline(), bench.now);
    EXPECT_THAT(bench.pieces(), ElementsAre("\r\nOK\r\n"));
    EXPECT_FALSE(bench.controller.nextDeadline());
}

TEST(Late, RepliesBeginThatMuchLater) {
    QuietBench bench;
    bench.fault("on AT late 200ms");
    bench.write("AT\r");
    EXPECT_EQ(bench.controller.nextDeadline(), bench.now + 200ms);
    bench.now += 200ms - 1ns;
    EXPECT_THAT(bench.pieces(), IsEmpty());
    bench.now += 1ns;
    EXPECT_THAT(bench.pieces(), ElementsAre("\r\nOK\r\n"));
}

TEST(Late, DelaysAddUp) {
    QuietBench bench;
    bench.fault("on AT late 200ms");
    bench.fault("on * late 1s");
    bench.write("AT\r");
    EXPECT_EQ(bench.controller.nextDeadline(), bench.now + 1200ms);
}

TEST(Late, CountsFromTheEndOfTheAnswerBefore) {
    QuietBench bench;
    bench.fault("on * late 10ms");
    bench.write("AT\rAT\r");
    const Time start = bench.now;
    bench.now = start + 10ms;
    EXPECT_THAT(bench.pieces(), ElementsAre("\r\nOK\r\n"));
    EXPECT_EQ(bench.controller.nextDeadline(), start + 20ms);
}

TEST(Late, CountsFromTheCommandWhenTheAnswerBeforeWasOverByThen) {
    QuietBench bench;
    bench.fault("on * late 10ms");
    const Time start = bench.now;
    bench.write("AT\r");
    bench.now = start + 50ms;  // nobody asked at 10 ms
    bench.write("AT\r");
    EXPECT_THAT(bench.pieces(), ElementsAre("\r\nOK\r\n"));
    EXPECT_EQ(bench.controller.nextDeadline(), start + 60ms);
}

struct SlowCommand {
    std::string command;
    Time time;
};

class SlowTouch : public testing::TestWithParam<SlowCommand> {};

TEST_P(SlowTouch, IsAnsweredWhenItIsDone) {
    QuietBench bench({.touchUpgradeTime = 3s, .selfTestTime = 2s});
    bench.write(GetParam().command);
    EXPECT_EQ(bench.controller.nextDeadline(), bench.now + GetParam().time);
    bench.now += GetParam().time - 1ns;
    EXPECT_THAT(bench.pieces(), IsEmpty());
    bench.now += 1ns;
    EXPECT_EQ(bench.pieces().size(), 1u);
}

TEST_P(SlowTouch, RefusesAtOnce) {
    QuietBench bench({.touchUpgradeTime = 3s, .selfTestTime = 2s});
    bench.fault("on AT%TCH error");
    bench.write(GetParam().command);
    EXPECT_THAT(bench.pieces(), ElementsAre("\r\nERROR\r\n"));
}

INSTANTIATE_TEST_SUITE_P(Commands, SlowTouch,
                         testing::Values(SlowCommand{"AT%TCHNOTIFY=FW_UPGRADE\r", 3s},
                                         SlowCommand{"AT%TCHNOTIFY=SD\r", 2s},
                                         SlowCommand{"AT%TCHNOTIFY=LPWG_SD\r", 2s}));

TEST(Split, SendsOneByteAtATimeOnSchedule) {
    QuietBench bench;
    bench.fault("on AT split 1ms");
    bench.write("AT\r");
    for (const char c : "\r\nOK\r\n"s) {
        EXPECT_EQ(bench.controller.nextDeadline(), bench.now);
        EXPECT_THAT(bench.pieces(), ElementsAre(std::string(1, c)));
        EXPECT_THAT(bench.pieces(), IsEmpty());
        bench.now += 1ms;
    }
    EXPECT_FALSE(bench.controller.nextDeadline());
}

TEST(Split, CatchesUpInSinglePiecesWhenAskedLate) {
    QuietBench bench;
    bench.fault("on AT split 1ms");
    bench.write("AT\r");
    bench.now += 3ms;
    EXPECT_THAT(bench.pieces(), ElementsAre("\r", "\n", "O", "K"));
    bench.now += 1h;
    EXPECT_THAT(bench.pieces(), ElementsAre("\r", "\n"));
}

TEST(Split, PacesAFloodToo) {
    QuietBench bench;
    bench.fault("on AT split 1ms");
    bench.fault("on AT flood 2");
    bench.write("AT\r");
    const Time start = bench.now;
    EXPECT_EQ(bench.drain(), "\r\nflood 1\r\nflood 2\r\nOK\r\n");
    EXPECT_EQ(bench.now - start, 23ms);
}

TEST(Split, BeginsLateWhenTheReplyDoes) {
    QuietBench bench;
    bench.fault("on AT split 1ms");
    bench.fault("on AT late 5ms");
    bench.write("AT\r");
    const Time start = bench.now;
    bench.drain();
    EXPECT_EQ(bench.now - start, 10ms);
}

TEST(HangUp, IsDueWithTheLastByteAheadOfIt) {
    QuietBench bench;
    bench.fault("on AT split 1ms");
    bench.fault("on AT hangup after 3");
    bench.write("AT\r");
    const Time start = bench.now;
    EXPECT_EQ(bench.drain(), "\r\nO");
    EXPECT_EQ(bench.now - start, 2ms);
    EXPECT_EQ(bench.others.size(), 1u);
}

TEST(Clock, MayStartAnywhere) {
    for (const Time origin : {Time(-1h), Time(0), Time(100000h)}) {
        Microcontroller controller;
        controller.powerUp(origin);
        controller.receive("AT\r", origin);
        EXPECT_EQ(controller.nextDeadline(), origin);
        EXPECT_EQ(controller.poll(origin).size(), 1u);
    }
}

}  // namespace
}  // namespace cover
