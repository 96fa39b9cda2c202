// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a phone makes of the cover's bytes, reading whole lines with carriage returns dropped: the
// answer begins after a blank line or the command's echo, and ends with OK or ERROR.
#include <gmock/gmock.h>

#include "emulator/cover/Text.h"
#include "tests/cover/Bench.h"

namespace cover {
namespace {

struct View {
    std::vector<std::string> ahead;   // lines before the answer began
    std::vector<std::string> answer;  // lines of the answer proper
    std::string result;               // "OK" or "ERROR"; empty: none came
    std::vector<std::string> behind;  // lines left for the next command

    bool operator==(const View&) const = default;
};

void PrintTo(const View& view, std::ostream* os) {
    *os << testing::PrintToString(view.ahead) << testing::PrintToString(view.answer) << view.result
        << testing::PrintToString(view.behind);
}

View read(std::string_view command, std::string_view bytes) {
    View view;
    bool started = false;
    std::string line;
    for (const char c : bytes) {
        if (c == '\r') continue;
        if (c != '\n') {
            line += c;
            continue;
        }
        const std::string whole = std::exchange(line, {});
        if (!view.result.empty()) {
            view.behind.push_back(whole);
        } else if (!started && (whole.empty() || whole == command)) {
            started = true;
        } else if (whole == "OK" || whole == "ERROR") {
            view.result = whole;
        } else {
            (started ? view.answer : view.ahead).push_back(whole);
        }
    }
    return view;
}

const std::vector<std::string> kVersion = {"BV330-V10k_20210312"};

class BothEchoes : public testing::TestWithParam<bool> {
  protected:
    View exchange(const std::string& command) {
        if (!GetParam()) bench.exchange("ATE0\r");
        return read(command, bench.exchange(command + "\r"));
    }
    Bench bench;
};
INSTANTIATE_TEST_SUITE_P(Echo, BothEchoes, testing::Bool());

TEST_P(BothEchoes, AnAnswerHoldsItsLinesAndNoBlankOne) {
    EXPECT_EQ(exchange("AT%SWV"), (View{{}, kVersion, "OK", {}}));
}

TEST_P(BothEchoes, AnAnswerWithoutLinesIsEmpty) {
    EXPECT_EQ(exchange("AT%BV=1"), (View{{}, {}, "OK", {}}));
}

TEST_P(BothEchoes, ARefusalIsEmptyToo) {
    EXPECT_EQ(exchange("AT%NOPE"), (View{{}, {}, "ERROR", {}}));
}

TEST_P(BothEchoes, ExtraLinesStayOutsideTheAnswer) {
    bench.fault(R"(on AT%SWV before "boot: hello")");
    bench.fault(R"(on AT%SWV after "log: done")");
    EXPECT_EQ(exchange("AT%SWV"), (View{{"boot: hello"}, kVersion, "OK", {"log: done"}}));
}

TEST_P(BothEchoes, FramesAreWholeLinesThatAReadTakesAtOnce) {
    const View view = exchange("AT%TCHDEBUG=RAWDATA");
    EXPECT_EQ(view.answer.size(), 24u);
    for (const std::string& line : view.answer) EXPECT_LT(line.size(), 1022u);
    EXPECT_EQ(view.result, "OK");
}

TEST_P(BothEchoes, AGarbledAnswerStillEnds) {
    bench.fault("on AT%SWV garble");
    const View view = exchange("AT%SWV");
    ASSERT_EQ(view.answer.size(), 1u);
    EXPECT_NE(view.answer, kVersion);
    EXPECT_EQ(view.result, "OK");
}

class NeverEnding : public testing::TestWithParam<std::string> {};
INSTANTIATE_TEST_SUITE_P(Faults, NeverEnding,
                         testing::Values("silent", "half", "garble all", "hangup after 10",
                                         R"(answer "\r\nOK")"));

TEST_P(NeverEnding, LeavesThePhoneWithoutAResult) {
    QuietBench bench;
    bench.fault("on AT%SWV " + GetParam());
    EXPECT_EQ(read("AT%SWV", bench.exchange("AT%SWV\r")).result, "");
}

}  // namespace
}  // namespace cover
