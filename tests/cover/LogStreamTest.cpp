// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover's own log: when it is on the line, and that it never falls into a reply.
#include "emulator/cover/LogStream.h"

#include <gmock/gmock.h>

#include "emulator/cover/Text.h"
#include "tests/cover/Bench.h"

namespace cover {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

// A cover that streams its log, as the phone ordered, to a phone that listens.
class StreamingBench : public QuietBench {
  public:
    explicit StreamingBench(Options options = {}) : QuietBench(std::move(options)) {
        controller.setDtr(true);
        exchange("AT%LOGSAVE=0\r");
    }

    bool log(std::string_view line) { return controller.log(line, now); }

    void chatter(std::string text, Time gap = {}) {
        controller.setChatter(Chatter{std::move(text), gap}, now);
    }
};

struct Mode {
    int logSave;
    bool dtr;
    bool streams;
};

void PrintTo(const Mode& mode, std::ostream* os) {
    *os << mode.logSave << " with DTR " << (mode.dtr ? "raised" : "lowered");
}

class Modes : public testing::TestWithParam<Mode> {};

TEST_P(Modes, DecideWhetherALineIsSent) {
    QuietBench bench;
    bench.controller.setDtr(GetParam().dtr);
    bench.exchange("AT%LOGSAVE=" + std::to_string(GetParam().logSave) + "\r");
    EXPECT_EQ(bench.controller.log("hello", bench.now), GetParam().streams);
    EXPECT_EQ(bench.drain(), GetParam().streams ? "hello\r\n" : "");
    EXPECT_EQ(bench.controller.state().logLines, GetParam().streams ? 1u : 0u);
}

INSTANTIATE_TEST_SUITE_P(Each, Modes,
                         testing::Values(Mode{0, true, true}, Mode{1, true, false},
                                         Mode{2, true, true}, Mode{3, true, false},
                                         Mode{0, false, false}, Mode{2, false, false},
                                         Mode{3, false, false}));

TEST(Log, IsOffUntilItIsAskedForAndAfterEachPowerUp) {
    Bench bench;
    bench.controller.setDtr(true);
    EXPECT_FALSE(bench.controller.log("x", bench.now));
    bench.exchange("AT%LOGSAVE=0\r");
    EXPECT_TRUE(bench.controller.log("x", bench.now));
    bench.controller.powerUp(bench.now);
    bench.controller.setDtr(true);
    EXPECT_EQ(bench.drain(), "");
    EXPECT_FALSE(bench.controller.log("x", bench.now));
}

TEST(Log, OfACoverWithoutPowerGoesNowhere) {
    StreamingBench bench;
    bench.controller.powerDown();
    EXPECT_FALSE(bench.log("x"));
}

TEST(Log, LinesKeepTheirOrder) {
    StreamingBench bench;
    bench.log("one");
    bench.log("two");
    EXPECT_EQ(bench.controller.nextDeadline(), bench.now);
    EXPECT_EQ(bench.drain(), "one\r\ntwo\r\n");
}

TEST(Log, LineWaitsWhileAReplyIsOnTheLine) {
    StreamingBench bench;
    bench.fault("on AT split 1ms");
    bench.write("AT\r");
    EXPECT_THAT(bench.pieces(), ElementsAre("\r"));
    bench.log("hello");
    EXPECT_EQ(bench.drain(), "\nOK\r\nhello\r\n");
}

TEST(Log, LineGoesAheadOfAReplyThatIsStillToCome) {
    StreamingBench bench;
    bench.fault("on AT late 1s");
    bench.write("AT\r");
    bench.log("hello");
    EXPECT_THAT(bench.pieces(), ElementsAre("hello\r\n"));
    EXPECT_EQ(bench.drain(), "\r\nOK\r\n");
}

TEST(Log, WaitingLinesAreLostWhenThePhoneStopsListening) {
    StreamingBench bench;
    bench.log("one");
    bench.controller.setDtr(false);
    bench.controller.setDtr(true);
    EXPECT_EQ(bench.drain(), "");
    bench.fault("on AT%LOGSAVE=3 late 1s");
    bench.log("two");
    EXPECT_EQ(bench.exchange("AT%LOGSAVE=3\r"), "\r\nOK\r\n");
}

TEST(Log, KeepsABoundedNumberOfWaitingLines) {
    StreamingBench bench;
    bench.fault("on AT split 1s times 1");
    bench.write("AT\r");
    bench.pieces();
    for (size_t i = 0; i < LogStream::kWaitingLimit; ++i) EXPECT_TRUE(bench.log("x"));
    EXPECT_FALSE(bench.log("x"));
    bench.drain();
    EXPECT_EQ(bench.controller.state().logLines, LogStream::kWaitingLimit);
    EXPECT_TRUE(bench.log("x"));
}

TEST(Chatter, FillsTheTimeBetweenRepliesAndComesAPieceAtATime) {
    StreamingBench bench;
    bench.chatter("c");
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(bench.controller.nextDeadline(), bench.now);
        const std::vector<std::string> pieces = bench.pieces();
        ASSERT_EQ(pieces.size(), 1u);
        EXPECT_THAT(pieces[0], StartsWith("c "));
        EXPECT_THAT(pieces[0], testing::EndsWith("\r\n"));
        EXPECT_LE(pieces[0].size(), LogStream::kChunk + 16);
    }
}

TEST(Chatter, GoesAheadOfEachReplyAndNeverIntoIt) {
    StreamingBench bench;
    bench.chatter("c", 1h);
    bench.pieces();
    EXPECT_EQ(bench.controller.state().logLines, 1u);
    bench.write("AT%SWV\rAT\r");
    EXPECT_THAT(bench.pieces(), ElementsAre("c 2\r\n", "\r\nBV330-V10k_20210312\r\nOK\r\n",
                                            "c 3\r\n", "\r\nOK\r\n"));
}

TEST(Chatter, WithoutAPauseStopsForAReply) {
    StreamingBench bench;
    bench.chatter("c");
    bench.fault("on AT split 1ms");
    bench.pieces();
    bench.write("AT\r");
    std::string line;
    for (int i = 0; i < 6; ++i) {
        for (const std::string& piece : bench.pieces()) line += piece;
        bench.now += 1ms;
    }
    EXPECT_THAT(line, testing::MatchesRegex("c [0-9]+\r\n\r\nOK\r\n(c [0-9]+\r\n)*"));
}

TEST(Chatter, GoesOnWhileAReplyIsLateAndEndsWhenItIsDue) {
    StreamingBench bench;
    bench.fault("on AT late 10ms");
    bench.chatter("c", 4ms);
    bench.pieces();
    bench.write("AT\r");
    EXPECT_THAT(bench.pieces(), ElementsAre("c 2\r\n"));
    bench.now += 4ms;
    EXPECT_THAT(bench.pieces(), ElementsAre("c 3\r\n"));
    bench.now += 4ms;
    EXPECT_THAT(bench.pieces(), ElementsAre("c 4\r\n"));
    bench.now += 2ms;
    EXPECT_THAT(bench.pieces(), ElementsAre("\r\nOK\r\n"));
}

TEST(Chatter, KeepsItsPace) {
    StreamingBench bench;
    bench.chatter("c", 20ms);
    EXPECT_THAT(bench.pieces(), ElementsAre("c 1\r\n"));
    EXPECT_THAT(bench.pieces(), IsEmpty());
    EXPECT_EQ(bench.controller.nextDeadline(), bench.now + 20ms);
    bench.now += 1h;
    // Lines whose time has passed are not made up for.
    EXPECT_THAT(bench.pieces(), ElementsAre("c 2\r\n"));
    EXPECT_EQ(bench.controller.nextDeadline(), bench.now + 20ms);
}

TEST(Chatter, FollowsDtrAndTheModeAndIsEndedByNothingElse) {
    StreamingBench bench;
    bench.chatter("c", 1h);
    bench.controller.setDtr(false);
    EXPECT_FALSE(bench.controller.nextDeadline());
    EXPECT_EQ(bench.exchange("AT\r"), "\r\nOK\r\n");
    bench.controller.setDtr(true);
    EXPECT_THAT(bench.pieces(), ElementsAre("c 1\r\n"));
    bench.controller.powerUp(bench.now);
    EXPECT_FALSE(bench.controller.nextDeadline());
    bench.controller.setDtr(true);
    bench.now += 1h;
    bench.write("AT%LOGSAVE=2\r");
    EXPECT_THAT(bench.pieces(), ElementsAre("c 2\r\n", "AT%LOGSAVE=2\r\r\nOK\r\n", "c 3\r\n"));
    bench.controller.setChatter(std::nullopt, bench.now);
    bench.now += 1h;
    EXPECT_EQ(bench.exchange("AT\r"), "AT\r\r\nOK\r\n");
}

TEST(Chatter, CountsNothingAgainstAHangUpInTheReply) {
    StreamingBench bench;
    bench.chatter("c", 1h);
    bench.pieces();
    bench.fault("on AT%SWV hangup after 5");
    EXPECT_EQ(bench.exchange("AT%SWV\r"), "c 2\r\n\r\nBV3");
    EXPECT_EQ(bench.others.size(), 1u);
}

TEST(Chatter, LetsTheCoverLeaveForItsLoader) {
    StreamingBench bench({.loaderDelay = 1ms});
    bench.chatter("c", 100us);
    bench.exchange("AT%GODLOAD\r");
    ASSERT_EQ(bench.others.size(), 1u);
    EXPECT_FALSE(bench.controller.nextDeadline());
}

}  // namespace
}  // namespace cover
