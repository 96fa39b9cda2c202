// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What each fault does to the bytes on the wire.
#include <gmock/gmock.h>

#include "emulator/cover/Text.h"
#include "tests/cover/Bench.h"

namespace cover {
namespace {

constexpr char kVersion[] = "\r\nBV330-V10k_20210312\r\nOK\r\n";

struct Case {
    std::string fault;
    std::string out;  // of "AT%SWV\r" with the echo on
    bool hangsUp = false;
};

void PrintTo(const Case& c, std::ostream* os) {
    *os << c.fault;
}

class Effects : public testing::TestWithParam<Case> {};

TEST_P(Effects, AreSeenOnTheWire) {
    Bench bench;
    bench.fault(GetParam().fault);
    EXPECT_EQ(escape(bench.exchange("AT%SWV\r")), escape(GetParam().out));
    EXPECT_EQ(bench.others.size(), GetParam().hangsUp ? 1u : 0u);
}

INSTANTIATE_TEST_SUITE_P(
        Each, Effects,
        testing::Values(
                Case{"on AT%SWV silent", ""}, Case{"on AT%SWV late 200ms", "AT%SWV\r"s + kVersion},
                Case{"on AT%SWV split 1ms", "AT%SWV\r"s + kVersion},
                Case{"on AT%SWV garble",
                     "AT%SWV\r\r\n"
                     "\xc2\xd6\xb3\xb3\xb0\xad\xd6\xb1\xb0\xeb\xdf\xb2\xb0\xb2\xb1\xb0\xb3\xb1\xb2"
                     "\r\nOK\r\n"},
                Case{"on AT%SWV garble all",
                     "AT%SWV\r\r\n"
                     "\xc2\xd6\xb3\xb3\xb0\xad\xd6\xb1\xb0\xeb\xdf\xb2\xb0\xb2\xb1\xb0\xb3\xb1\xb2"
                     "\r\n\xcf\xcb\r\n"},
                Case{"on AT%SWV error", "AT%SWV\r\r\nERROR\r\n"},
                Case{R"(on AT%SWV before "boot: hello")", "boot: hello\r\nAT%SWV\r"s + kVersion},
                Case{R"(on AT%SWV after "late: hello")",
                     "AT%SWV\r"s + kVersion + "late: hello\r\n"},
                Case{R"(on AT%SWV before "one\r\ntwo")", "one\r\ntwo\r\nAT%SWV\r"s + kVersion},
                Case{R"(on AT%SWV inside "log: hello")",
                     "AT%SWV\r\r\nlog: hello\r\nBV330-V10k_20210312\r\nOK\r\n"},
                Case{"on AT%SWV half", "AT%SWV\r\r\nBV330-V10"},
                Case{"on AT%SWV flood 3",
                     "AT%SWV\r\r\nBV330-V10k_20210312\r\nflood 1\r\nflood 2\r\nflood 3\r\nOK\r\n"},
                Case{R"(on AT%SWV answer "raw \r\n bytes \x00")", "raw \r\n bytes \0"s},
                Case{R"(on AT%SWV answer "")", ""}, Case{"on AT%SWV hangup", "", true},
                Case{"on AT%SWV hangup after 0", "", true},
                Case{"on AT%SWV hangup after 12", "AT%SWV\r\r\nBV3", true},
                Case{"on AT%SWV hangup after 1000", "AT%SWV\r"s + kVersion, true}));

INSTANTIATE_TEST_SUITE_P(Prefixes, Effects,
                         testing::Values(Case{"on * error", "AT%SWV\r\r\nERROR\r\n"},
                                         Case{"on AT error", "AT%SWV\r\r\nERROR\r\n"},
                                         Case{"on at%s error", "AT%SWV\r\r\nERROR\r\n"},
                                         Case{R"(on "AT%SW" error)", "AT%SWV\r\r\nERROR\r\n"},
                                         Case{"on AT%SWVX error", "AT%SWV\r"s + kVersion},
                                         Case{R"(on "*" error)", "AT%SWV\r"s + kVersion},
                                         Case{"on AT%HPD error", "AT%SWV\r"s + kVersion}));

TEST(Half, OfAnAnswerWithoutLinesStopsInItsResult) {
    QuietBench bench;
    bench.fault("on * half");
    EXPECT_EQ(bench.exchange("AT\r"), "\r\nO");
    EXPECT_EQ(bench.exchange("AT%NOPE\r"), "\r\nER");
}

TEST(Half, OfAnEmptyAnswerIsEmpty) {
    QuietBench bench;
    bench.fault(R"(on * answer "")");
    bench.fault("on * half");
    EXPECT_EQ(bench.exchange("AT\r"), "");
}

TEST(Half, LosesWhatWasAddedBehindTheAnswer) {
    QuietBench bench;
    bench.fault(R"(on * after "x")");
    bench.fault("on * flood");
    bench.fault("on * half");
    EXPECT_EQ(bench.exchange("AT\r"), "\r\nO");
}

TEST(Error, KeepsTheCommandFromBeingCarriedOut) {
    QuietBench bench;
    bench.fault("on AT%BV= error");
    EXPECT_EQ(bench.exchange("AT%BV=1\r"), "\r\nERROR\r\n");
    EXPECT_FALSE(bench.controller.state().screen.on);
    EXPECT_EQ(bench.controller.state().refused, 0u);
}

TEST(Silence, LosesTheAnswerOfACommandThatIsCarriedOut) {
    QuietBench bench;
    bench.fault("on AT%BV= silent");
    EXPECT_EQ(bench.exchange("AT%BV=1\r"), "");
    EXPECT_TRUE(bench.controller.state().screen.on);
}

TEST(HangUp, LeavesTheCoverWithoutPowerUntilItIsAttachedAgain) {
    QuietBench bench;
    bench.fault("on AT%SWV hangup after 5 times 1");
    EXPECT_EQ(bench.exchange("AT%SWV\rAT\r"), "\r\nBV3");
    ASSERT_EQ(bench.others.size(), 1u);
    EXPECT_EQ(bench.others[0], (Action{.kind = Action::Kind::HangUp}));
    EXPECT_EQ(bench.controller.state().power, Power::Off);
    EXPECT_EQ(bench.exchange("AT\r"), "");
    bench.controller.powerUp(bench.now);
    EXPECT_EQ(bench.exchange("AT%SWV\r"), "AT%SWV\r"s + kVersion);
}

TEST(HangUp, CanComeInTheMiddleOfAFlood) {
    QuietBench bench;
    bench.fault("on AT%SWV flood");
    bench.fault("on AT%SWV hangup after 100000");
    EXPECT_EQ(bench.exchange("AT%SWV\r").size(), 100000u);
    EXPECT_EQ(bench.others.size(), 1u);
}

TEST(Flood, ComesInBoundedPiecesWithItsResultAtTheEnd) {
    QuietBench bench;
    bench.fault("on AT%SWV flood 100000");
    bench.write("AT%SWV\r");
    size_t lines = 0;
    std::string last;
    while (bench.controller.nextDeadline()) {
        for (const std::string& piece : bench.pieces()) {
            EXPECT_LE(piece.size(), 4096u);
            lines += static_cast<size_t>(std::count(piece.begin(), piece.end(), '\n'));
            last = piece;
        }
    }
    EXPECT_EQ(lines, 100000u + 3u);
    EXPECT_EQ(last, "OK\r\n");
}

TEST(Flood, WithoutACountGoesOnAndComesOnePieceAPoll) {
    QuietBench bench;
    bench.fault("on AT%SWV flood");
    bench.write("AT%SWV\r");
    bench.pieces();
    for (int i = 0; i < 1000; ++i) {
        const std::vector<std::string> pieces = bench.pieces();
        ASSERT_EQ(pieces.size(), 1u);
        ASSERT_THAT(pieces[0], testing::StartsWith("flood "));
        ASSERT_THAT(pieces[0], testing::EndsWith("\r\n"));
    }
    EXPECT_TRUE(bench.controller.nextDeadline());
}

TEST(Several, FaultsOnOneCommandAreAppliedInTheOrderTheyWereAdded) {
    QuietBench bench;
    bench.fault(R"(on AT%SWV answer "\r\nABCD\r\nOK\r\n")");
    bench.fault("on AT%SWV half");
    bench.fault(R"(on * after "x")");
    EXPECT_EQ(bench.exchange("AT%SWV\r"), "\r\nABx\r\n");
}

TEST(Several, LinesBeforeAndAfterAdd) {
    QuietBench bench;
    for (const char* fault :
         {R"(on * before "1")", R"(on * before "2")", R"(on * after "3")", R"(on * after "4")"}) {
        bench.fault(fault);
    }
    EXPECT_EQ(bench.exchange("AT\r"), "1\r\n2\r\n\r\nOK\r\n3\r\n4\r\n");
}

TEST(Inside, OfBytesWithoutALineComesFirst) {
    QuietBench bench;
    bench.fault(R"(on * answer "OK")");
    bench.fault(R"(on * inside "x")");
    EXPECT_EQ(bench.exchange("AT\r"), "x\r\nOK");
}

TEST(Several, SilenceSwallowsWhatWasAddedBeforeItButNotAHangUp) {
    QuietBench bench;
    bench.fault(R"(on * before "1")");
    bench.fault("on * flood");
    bench.fault("on * hangup after 3");
    bench.fault("on * silent");
    EXPECT_EQ(bench.exchange("AT\r"), "");
    EXPECT_EQ(bench.others.size(), 1u);
}

TEST(Deaf, TakesNoByteOfAnything) {
    QuietBench bench;
    bench.fault("on * deaf");
    for (const char* bytes : {"AT%SWV\r", "A", "\r", "\n"}) {
        EXPECT_EQ(bench.controller.receive(bytes, bench.now), 0u);
    }
    EXPECT_EQ(bench.drain(), "");
    EXPECT_EQ(bench.controller.state().commands, 1u);  // that of the bench
    EXPECT_TRUE(bench.controller.state().deaf);
}

TEST(Deaf, BeginsWithTheFirstByteOfItsCommand) {
    QuietBench bench;
    bench.fault("on AT%SWV deaf");
    EXPECT_EQ(bench.controller.receive("AT\rat%swv\rAT\r", bench.now), 3u);
    EXPECT_EQ(bench.drain(), "\r\nOK\r\n");
    EXPECT_EQ(bench.controller.receive("at%swv\rAT\r", bench.now), 0u);
    EXPECT_EQ(bench.controller.receive("AT\r", bench.now), 0u);
}

TEST(Deaf, BeginsWhereACommandThatIsCutIsKnown) {
    QuietBench bench;
    bench.fault("on AT%SWV deaf");
    EXPECT_EQ(bench.controller.receive("\nAT%S", bench.now), 5u);
    EXPECT_EQ(bench.controller.receive("WV\r", bench.now), 0u);
    EXPECT_TRUE(bench.controller.state().deaf);
}

TEST(Deaf, SeesACommandBehindALineFeed) {
    QuietBench bench;
    bench.fault("on AT%SWV deaf");
    EXPECT_EQ(bench.controller.receive("AT\r\nAT%SWV\r", bench.now), 3u);
}

TEST(Deaf, LeavesOtherCommandsAlone) {
    QuietBench bench;
    bench.fault("on AT%SWV deaf");
    EXPECT_TRUE(bench.controller.mayBeDeaf());
    EXPECT_EQ(bench.exchange("AT\r"), "\r\nOK\r\n");
    EXPECT_FALSE(bench.controller.state().deaf);
}

TEST(Deaf, SpeaksAllTheSame) {
    QuietBench bench;
    bench.exchange("AT%LOGSAVE=2\r");
    bench.controller.setDtr(true);
    bench.fault("on * deaf");
    bench.write("AT\r");
    EXPECT_TRUE(bench.controller.log("hello", bench.now));
    EXPECT_EQ(bench.drain(), "hello\r\n");
}

TEST(Deaf, FinishesTheAnswerThatIsUnderWay) {
    QuietBench bench;
    bench.fault("on AT%SWV late 1s");
    bench.write("AT%SWV\r");
    bench.fault("on * deaf");
    EXPECT_EQ(bench.exchange("AT\r"), kVersion);
}

TEST(Deaf, EndsWithAPowerUp) {
    QuietBench bench;
    bench.fault("on AT%SWV deaf times 1");
    bench.write("AT%SWV\r");
    EXPECT_TRUE(bench.controller.faults().list().empty());
    bench.write("AT%SWV\r");
    EXPECT_TRUE(bench.controller.mayBeDeaf());
    bench.controller.powerUp(bench.now);
    EXPECT_FALSE(bench.controller.mayBeDeaf());
    EXPECT_EQ(bench.exchange("AT%SWV\r"), "AT%SWV\r"s + kVersion);
}

TEST(Deaf, WithoutTimesStrikesAgainAfterAPowerUp) {
    QuietBench bench;
    bench.fault("on AT%SWV deaf");
    bench.write("AT%SWV\r");
    bench.controller.powerUp(bench.now);
    EXPECT_EQ(bench.exchange("ATE0\r"), "ATE0\r\r\nOK\r\n");
    EXPECT_EQ(bench.controller.receive("AT%SWV\r", bench.now), 0u);
}

TEST(Deaf, EndsWhenTheFaultsAreCleared) {
    QuietBench bench;
    bench.fault("on * deaf times 1");
    bench.write("AT%SWV\r");
    bench.controller.clearFaults();
    EXPECT_FALSE(bench.controller.mayBeDeaf());
    EXPECT_EQ(bench.exchange("AT%SWV\r"), kVersion);
}

TEST(Times, EndAFaultAndTakeItOffTheList) {
    QuietBench bench;
    bench.fault("on AT%SWV error times 2");
    EXPECT_EQ(bench.exchange("AT%SWV\r"), "\r\nERROR\r\n");
    EXPECT_EQ(bench.exchange("AT\r"), "\r\nOK\r\n");  // another command uses up nothing
    ASSERT_EQ(bench.controller.faults().list().size(), 1u);
    EXPECT_EQ(toText(bench.controller.faults().list()[0]), "on AT%SWV error times 1");
    EXPECT_EQ(bench.exchange("AT%SWV\r"), "\r\nERROR\r\n");
    EXPECT_TRUE(bench.controller.faults().list().empty());
    EXPECT_EQ(bench.exchange("AT%SWV\r"), kVersion);
}

TEST(Times, AreCountedForEachFaultByItself) {
    QuietBench bench;
    bench.fault("on * error times 1");
    bench.fault(R"(on * after "x" times 2)");
    EXPECT_EQ(bench.exchange("AT\r"), "\r\nERROR\r\nx\r\n");
    EXPECT_EQ(bench.exchange("AT\r"), "\r\nOK\r\nx\r\n");
    EXPECT_EQ(bench.exchange("AT\r"), "\r\nOK\r\n");
}

TEST(List, CanBeShortenedAndCleared) {
    QuietBench bench;
    Faults& faults = bench.controller.faults();
    bench.fault("on * error");
    bench.fault("on * half");
    EXPECT_FALSE(faults.remove("on * half times 1"));
    EXPECT_EQ(faults.remove("on * error"), parseFault("on * error").fault);
    ASSERT_EQ(faults.list().size(), 1u);
    EXPECT_EQ(faults.list()[0].effect, Fault::Effect::Half);
    faults.clear();
    EXPECT_EQ(bench.exchange("AT\r"), "\r\nOK\r\n");
}

TEST(Met, IsCountedOnceACommand) {
    QuietBench bench;
    bench.fault("on AT%SWV flood 100000");
    bench.fault("on * split 1us");
    bench.exchange("AT%SWV\r");
    bench.exchange("AT\r");
    bench.exchange("AT%");
    EXPECT_EQ(bench.controller.faults().list()[0].met, 1u);
    EXPECT_EQ(bench.controller.faults().list()[1].met, 2u);
    EXPECT_THAT(bench.controller.faults().takeStrikes(),
                testing::ElementsAre(Strike{"on AT%SWV flood 100000", "AT%SWV"},
                                     Strike{"on * split 1us", "AT%SWV"},
                                     Strike{"on * split 1us", "AT"}));
    EXPECT_THAT(bench.controller.faults().takeStrikes(), testing::IsEmpty());
}

TEST(Met, TellsTheFaultAsItWasListedUntilThen) {
    QuietBench bench;
    bench.fault("on AT%SWV error times 2");
    bench.exchange("AT%SWV\rAT%SWV\r");
    EXPECT_THAT(bench.controller.faults().takeStrikes(),
                testing::ElementsAre(Strike{"on AT%SWV error times 2", "AT%SWV"},
                                     Strike{"on AT%SWV error times 1", "AT%SWV"}));
}

TEST(Met, OfADeafCoverIsTheBeginningOfTheCommandAndComesOnce) {
    QuietBench bench;
    bench.fault("on AT%S deaf");
    bench.write("AT\rAT%S");
    bench.write("AT%S");
    bench.write("AT%SWV\r");
    EXPECT_THAT(bench.controller.faults().takeStrikes(),
                testing::ElementsAre(Strike{"on AT%S deaf", "AT%S"}));
    EXPECT_EQ(bench.controller.faults().list()[0].met, 1u);
}

TEST(Deaf, HearsAgainWithoutTheFault) {
    QuietBench bench;
    bench.fault("on * deaf");
    bench.fault("on * error");
    bench.write("AT\r");
    EXPECT_TRUE(bench.controller.removeFault("on * error"));
    EXPECT_TRUE(bench.controller.state().deaf);
    EXPECT_FALSE(bench.controller.removeFault("on * deaf times 1"));
    EXPECT_TRUE(bench.controller.removeFault("on * deaf"));
    EXPECT_FALSE(bench.controller.state().deaf);
    EXPECT_EQ(bench.exchange("AT\r"), "\r\nOK\r\n");
}

TEST(List, OutlivesAPowerUp) {
    QuietBench bench;
    bench.fault("on AT%SWV error");
    bench.controller.powerUp(bench.now);
    EXPECT_EQ(bench.exchange("AT%SWV\r"), "AT%SWV\r\r\nERROR\r\n");
}

}  // namespace
}  // namespace cover
