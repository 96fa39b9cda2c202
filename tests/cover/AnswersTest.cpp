// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Raw bytes in, raw bytes out, for every command that the cover knows.
#include <gmock/gmock.h>

#include <algorithm>

#include "emulator/cover/Text.h"
#include "tests/cover/Bench.h"

namespace cover {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Le;
using testing::StartsWith;

constexpr char kOk[] = "\r\nOK\r\n";
constexpr char kError[] = "\r\nERROR\r\n";

struct Case {
    std::string in;
    std::string out;
};

void PrintTo(const Case& c, std::ostream* os) {
    *os << quote(c.in);
}

class Answers : public testing::TestWithParam<Case> {};

TEST_P(Answers, FreshCoverWithEchoOffAnswersExactly) {
    QuietBench bench;
    EXPECT_EQ(escape(bench.exchange(GetParam().in)), escape(GetParam().out));
}

INSTANTIATE_TEST_SUITE_P(Basic, Answers,
                         testing::Values(Case{"AT\r", kOk}, Case{"ATE0\r", kOk},
                                         Case{"ATE1\r", kOk}, Case{"at\r", kOk},
                                         Case{"ATE2\r", kError}, Case{"ATE\r", kError},
                                         Case{"A\r", kError}, Case{"\r", ""}, Case{"\r\r\r", ""},
                                         Case{"\n\r", ""}));

INSTANTIATE_TEST_SUITE_P(Firmware, Answers,
                         testing::Values(Case{"AT%SWV\r", "\r\nBV330-V10k_20210312\r\nOK\r\n"},
                                         Case{"at%swv\r", "\r\nBV330-V10k_20210312\r\nOK\r\n"},
                                         Case{"AT%SWV?\r", kError}, Case{"AT%GODLOAD\r", kOk},
                                         Case{"AT%GOSTMDLOAD\r", kOk},
                                         Case{"AT%GODLOAD=1\r", kError},
                                         Case{"AT%MODEL=DCM\r", kOk}, Case{"AT%MODEL=\r", kError},
                                         Case{"AT%MODEL=a b\r", kError}, Case{"AT%MODEL\r", kError},
                                         Case{"AT%MODEL=" + std::string(32, 'x') + "\r", kOk},
                                         Case{"AT%MODEL=" + std::string(33, 'x') + "\r", kError}));

INSTANTIATE_TEST_SUITE_P(
        Screen, Answers,
        testing::Values(
                Case{"AT%BV=1\r", kOk}, Case{"AT%BV=0\r", kOk}, Case{"AT%BV=2\r", kError},
                Case{"AT%BV=\r", kError}, Case{"AT%BV=01\r", kError}, Case{"AT%BV\r", kError},
                Case{"AT%HPD\r", "\r\nOff\r\nOK\r\n"}, Case{"AT%HPD=1\r", kError},
                Case{"AT%DB=0\r", kOk}, Case{"AT%DB=128\r", kOk}, Case{"AT%DB=255\r", kOk},
                Case{"AT%DB=256\r", kError}, Case{"AT%DB=-1\r", kError}, Case{"AT%DB=\r", kError},
                Case{"AT%DB=12x\r", kError}, Case{"AT%DB= 12\r", kError},
                Case{"AT%DB=+1\r", kError}, Case{"AT%DB=99999999999999999999\r", kError},
                Case{"AT%PRGB=1,2,3,4\r", kOk}, Case{"AT%PRGB=-1,2147483647,-2147483648,0\r", kOk},
                Case{"AT%PRGB=1,2,3\r", kError}, Case{"AT%PRGB=1,2,3,4,5\r", kError},
                Case{"AT%PRGB=1,2,3,\r", kError}, Case{"AT%PRGB=,1,2,3\r", kError},
                Case{"AT%PRGB=1,2,3,2147483648\r", kError}, Case{"AT%SHS=1,2,3\r", kOk},
                Case{"AT%SHS=1,2\r", kError}, Case{"AT%SHS=1,2,3,4\r", kError},
                Case{"AT%SHS=\r", kError}, Case{"AT%SMODE=3\r", kOk}, Case{"AT%SMODE=-1\r", kOk},
                Case{"AT%SMODE=\r", kError}, Case{"AT%SMODE=1,2\r", kError},
                Case{"AT%GETBVCUTOUT\r", "\r\nM 0,0 H -36 V 60 H 36 V 0 H 0 Z\r\nOK\r\n"},
                Case{"AT%GETBVCUTOUT=1\r", kError}));

INSTANTIATE_TEST_SUITE_P(
        Touch, Answers,
        testing::Values(
                Case{"AT%TCHDEBUG=FWVER\r", "\r\nTP330-V1.07\r\nOK\r\n"},
                Case{"AT%TCHDEBUG=RESET\r", kOk},
                Case{"AT%TCHDEBUG=GPIO_PIN\r", "\r\nINT:1 RESET:1 VDD:1 VIO:1\r\nOK\r\n"},
                Case{"AT%TCHDEBUG=\r", kError}, Case{"AT%TCHDEBUG=NOTHING\r", kError},
                Case{"AT%TCHDEBUG=RESETX\r", kError}, Case{"AT%TCHNOTIFY=FW_UPGRADE\r", kOk},
                Case{"AT%TCHNOTIFY=SD\r",
                     "\r\nSD RESULT: PASS\r\nOPEN/SHORT: PASS\r\nRAW DATA: PASS\r\n"
                     "JITTER: PASS\r\nNOISE: PASS\r\nOK\r\n"},
                Case{"AT%TCHNOTIFY=LPWG_SD\r",
                     "\r\nLPWG SD RESULT: PASS\r\nLPWG RAW DATA: PASS\r\nLPWG JITTER: PASS\r\n"
                     "LPWG NOISE: PASS\r\nLPWG CURRENT: PASS\r\nOK\r\n"},
                Case{"AT%TCHNOTIFY=SDX\r", kError}, Case{"AT%TCHNOTIFY=\r", kError},
                Case{"AT%TCHNOTIFY=LPWG_NOTIFY,1,0\r", kOk},
                Case{"AT%TCHNOTIFY=LPWG_NOTIFY,-5,2147483647\r", kOk},
                Case{"AT%TCHNOTIFY=LPWG_NOTIFY,1\r", kError},
                Case{"AT%TCHNOTIFY=LPWG_NOTIFY,1,2,3\r", kError},
                Case{"AT%TCHNOTIFY=LPWG_NOTIFY\r", kError},
                Case{"AT%TCHNOTIFY=SWTICH_AES,1\r", kOk}, Case{"AT%TCHNOTIFY=SWTICH_AES,2\r", kOk},
                Case{"AT%TCHNOTIFY=SWTICH_AES,4294967295\r", kOk},
                Case{"AT%TCHNOTIFY=SWTICH_AES,4294967296\r", kError},
                Case{"AT%TCHNOTIFY=SWTICH_AES,-1\r", kError},
                Case{"AT%TCHNOTIFY=SWTICH_AES,\r", kError}, Case{"AT%TCPERF=1\r", kOk},
                Case{"AT%TCPERF=0\r", kOk}, Case{"AT%TCPERF=2\r", kError},
                Case{"AT%TCPERF=\r", kError}, Case{"AT%TCHUPDATE=UPDATE_STATE,3,1,0\r", kOk},
                Case{"AT%TCHUPDATE=UPDATE_STATE,-7,12\r", kOk},
                Case{"AT%TCHUPDATE=UPDATE_STATE\r", kOk},
                Case{"AT%TCHUPDATE=UPDATE_STATE,\r", kError},
                Case{"AT%TCHUPDATE=UPDATE_STATE3\r", kError},
                Case{"AT%TCHUPDATE=UPDATE_STATE,x\r", kError}));

// Meant: the cover knows the misspelt name alone.
INSTANTIATE_TEST_SUITE_P(Misspelt, Answers,
                         testing::Values(Case{"AT%TCHNOTIFY=SWITCH_AES,1\r", kError}));

INSTANTIATE_TEST_SUITE_P(Log, Answers,
                         testing::Values(Case{"AT%LOGSAVE=0\r", kOk}, Case{"AT%LOGSAVE=2\r", kOk},
                                         Case{"AT%LOGSAVE=3\r", kOk},
                                         Case{"AT%LOGSAVE=4\r", kError},
                                         Case{"AT%LOGSAVE=-1\r", kError},
                                         Case{"AT%LOGSAVE=\r", kError}));

INSTANTIATE_TEST_SUITE_P(Unknown, Answers,
                         testing::Values(Case{"AT%NOPE\r", kError}, Case{"hello\r", kError},
                                         Case{"AT %SWV\r", kError}, Case{" AT\r", kError},
                                         Case{"A\nT\r", kError}, Case{"AT\n\r", kError},
                                         Case{"\0\0\r"s, kError}, Case{"AT%SWV\0\r"s, kError},
                                         Case{"\xff\xfe\x80\r", kError}));

std::vector<std::string> linesOf(std::string_view answer) {
    std::vector<std::string> lines;
    while (!answer.empty()) {
        const size_t end = answer.find("\r\n");
        lines.emplace_back(answer.substr(0, end));
        answer.remove_prefix(end + 2);
    }
    return lines;
}

class Frames : public testing::TestWithParam<std::string> {};
INSTANTIATE_TEST_SUITE_P(Both, Frames, testing::Values("RAWDATA", "DELTA"));

TEST_P(Frames, FillManyLinesThatFitThePhonesBuffer) {
    QuietBench bench;
    const std::string answer = bench.exchange("AT%TCHDEBUG=" + GetParam() + "\r");
    const std::vector<std::string> lines = linesOf(answer);
    ASSERT_EQ(lines.size(), 1u + 24u + 1u);
    EXPECT_EQ(lines.front(), "");
    EXPECT_EQ(lines.back(), "OK");
    for (size_t row = 1; row <= 24; ++row) EXPECT_EQ(lines[row].size(), 160u) << lines[row];
    EXPECT_THAT(answer.size() - std::size("\r\nOK\r\n"), Le(4096u));
}

TEST_P(Frames, DifferFromOneToTheNextAndRepeatAfterPowerUp) {
    QuietBench bench;
    const std::string command = "AT%TCHDEBUG=" + GetParam() + "\r";
    const std::string first = bench.exchange(command);
    const std::string second = bench.exchange(command);
    EXPECT_NE(first, second);
    bench.controller.powerUp(bench.now);
    bench.exchange("ATE0\r");
    EXPECT_EQ(bench.exchange(command), first);
}

TEST_P(Frames, HaveTheSizeThatIsAskedFor) {
    QuietBench bench({.touchSize = {.rows = 2, .columns = 210}});
    const std::vector<std::string> lines =
            linesOf(bench.exchange("AT%TCHDEBUG=" + GetParam() + "\r"));
    ASSERT_EQ(lines.size(), 1u + 2u + 1u);
    EXPECT_EQ(lines[1].size(), 1050u);
    EXPECT_EQ(lines[2].size(), 1050u);
}

TEST(SelfTestReport, NamesTheTestsThatWereNotRun) {
    QuietBench bench;
    const std::string report = bench.exchange("AT%TCHNOTIFY=PULL_SD_RESULT\r");
    EXPECT_THAT(report, StartsWith("\r\nTOUCH FW: TP330-V1.07\r\nSD: not run\r\nLPWG SD: not run"));
    EXPECT_THAT(report, EndsWith("\r\nOK\r\n"));
}

TEST(SelfTestReport, HoldsTheResultsOfTheTestsThatWereRun) {
    QuietBench bench;
    bench.exchange("AT%TCHNOTIFY=SD\rAT%TCHNOTIFY=LPWG_SD\r");
    const std::string report = bench.exchange("AT%TCHNOTIFY=PULL_SD_RESULT\r");
    EXPECT_THAT(report, HasSubstr("\r\nSD RESULT: PASS\r\n"));
    EXPECT_THAT(report, HasSubstr("\r\nLPWG SD RESULT: PASS\r\n"));
    EXPECT_THAT(report, testing::Not(HasSubstr("not run")));
}

TEST(SelfTestReport, IsLargeButWithinThePhonesBuffer) {
    QuietBench bench;
    const size_t size = bench.exchange("AT%TCHNOTIFY=PULL_SD_RESULT\r").size();
    EXPECT_GT(size, 4096u);
    EXPECT_LT(size, 40960u);
}

// The answer as the phone stores it: without "\r", between the blank line and the "OK".
size_t storedSize(const std::string& answer) {
    size_t size = 0;
    const std::vector<std::string> lines = linesOf(answer);
    for (size_t i = 1; i + 1 < lines.size(); ++i) size += lines[i].size() + 1;
    return size;
}

TEST(SelfTestReport, IsFilledUpToTheByte) {
    const size_t natural = storedSize(QuietBench().exchange("AT%TCHNOTIFY=PULL_SD_RESULT\r"));
    std::vector<size_t> sizes = {40960, 1 << 20};
    for (size_t more = 0; more < 40; ++more) sizes.push_back(natural + more);
    for (const size_t size : sizes) {
        QuietBench bench({.selfTestReportSize = size});
        const std::string answer = bench.exchange("AT%TCHNOTIFY=PULL_SD_RESULT\r");
        ASSERT_EQ(storedSize(answer), size);
        EXPECT_THAT(answer, testing::Not(HasSubstr("\n\r\n"))) << size;
        EXPECT_THAT(answer, EndsWith("\r\nOK\r\n"));
    }
}

TEST(SelfTestReport, IsNotCut) {
    QuietBench small({.selfTestReportSize = 10});
    QuietBench natural;
    EXPECT_EQ(small.exchange("AT%TCHNOTIFY=PULL_SD_RESULT\r"),
              natural.exchange("AT%TCHNOTIFY=PULL_SD_RESULT\r"));
}

TEST(HotPlug, AnswersOnAfterTheSetNumberOfPolls) {
    QuietBench bench({.hotPlugPolls = 3});
    bench.exchange("AT%BV=1\r");
    std::string answers;
    for (int poll = 0; poll < 5; ++poll) answers += linesOf(bench.exchange("AT%HPD\r"))[1] + ' ';
    EXPECT_EQ(answers, "Off Off Off On On ");
}

TEST(HotPlug, AnswersOnAtOnceWhenNoPollIsAskedFor) {
    QuietBench bench({.hotPlugPolls = 0});
    bench.exchange("AT%BV=1\r");
    EXPECT_EQ(bench.exchange("AT%HPD\r"), "\r\nOn\r\nOK\r\n");
}

TEST(HotPlug, FallsWithTheScreenAndStaysWhenItIsSwitchedOnTwice) {
    QuietBench bench({.hotPlugPolls = 1});
    bench.exchange("AT%BV=1\rAT%HPD\r");
    bench.exchange("AT%BV=1\r");
    EXPECT_EQ(bench.exchange("AT%HPD\r"), "\r\nOn\r\nOK\r\n");
    bench.exchange("AT%BV=0\r");
    EXPECT_EQ(bench.exchange("AT%HPD\r"), "\r\nOff\r\nOK\r\n");
    bench.exchange("AT%BV=1\r");
    EXPECT_EQ(bench.exchange("AT%HPD\r"), "\r\nOff\r\nOK\r\n");
    EXPECT_EQ(bench.exchange("AT%HPD\r"), "\r\nOn\r\nOK\r\n");
}

TEST(HotPlug, NeverAnswersOnWhenThePanelNeverComesUp) {
    QuietBench bench({.hotPlugPolls = std::nullopt});
    bench.exchange("AT%BV=1\r");
    for (int poll = 0; poll < 100; ++poll) {
        ASSERT_EQ(bench.exchange("AT%HPD\r"), "\r\nOff\r\nOK\r\n");
    }
    EXPECT_TRUE(bench.controller.state().screen.on);
}

TEST(HotPlug, AnswersAnotherTextThanOnWhenItIsToldTo) {
    QuietBench bench({.hotPlugPolls = 1, .hotPlugAnswer = "Online"});
    bench.exchange("AT%BV=1\r");
    EXPECT_EQ(bench.exchange("AT%HPD\r"), "\r\nOff\r\nOK\r\n");
    EXPECT_EQ(bench.exchange("AT%HPD\r"), "\r\nOnline\r\nOK\r\n");
    EXPECT_TRUE(bench.controller.state().screen.hotPlugged());
}

TEST(OptionTexts, TakeEffectWithTheNextCommand) {
    QuietBench bench;
    Options options = bench.controller.options();
    options.version = "AB-2_x";
    options.cutout = "M 1,1 Z";
    options.touchVersion = "T2";
    bench.controller.setOptions(options);
    EXPECT_EQ(bench.exchange("AT%SWV\r"), "\r\nAB-2_x\r\nOK\r\n");
    EXPECT_EQ(bench.exchange("AT%GETBVCUTOUT\r"), "\r\nM 1,1 Z\r\nOK\r\n");
    EXPECT_EQ(bench.exchange("AT%TCHDEBUG=FWVER\r"), "\r\nT2\r\nOK\r\n");
}

// An empty line would be taken for a line of the answer.
TEST(OptionTexts, ThatAreEmptyGiveAnAnswerWithoutLines) {
    QuietBench bench({.version = "",
                      .cutout = "",
                      .touchVersion = "",
                      .hotPlugPolls = 0,
                      .hotPlugAnswer = ""});
    bench.exchange("AT%BV=1\r");
    for (const char* command :
         {"AT%SWV\r", "AT%GETBVCUTOUT\r", "AT%TCHDEBUG=FWVER\r", "AT%HPD\r"}) {
        EXPECT_EQ(bench.exchange(command), kOk) << command;
    }
}

}  // namespace
}  // namespace cover
