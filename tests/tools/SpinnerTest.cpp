// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/text/Spinner.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include "tests/tools/Terminal.h"

using namespace bivistactl;
using namespace std::chrono_literals;
using testing::EndsWith;
using testing::MatchesRegex;

namespace {

constexpr char kFrameEnd[] = " s";

}  // namespace

TEST(ElapsedTest, IsToldInSecondsThenInMinutes) {
    EXPECT_EQ("0 s", elapsedInWords(0s));
    EXPECT_EQ("9 s", elapsedInWords(9s));
    EXPECT_EQ("59 s", elapsedInWords(59s));
    EXPECT_EQ("1 min 00 s", elapsedInWords(60s));
    EXPECT_EQ("1 min 09 s", elapsedInWords(69s));
    EXPECT_EQ("10 min 10 s", elapsedInWords(610s));
    EXPECT_EQ("61 min 01 s", elapsedInWords(3661s));
}

TEST(ElapsedTest, NeverGetsShorter) {
    for (auto elapsed = 0s; elapsed < 2h; ++elapsed) {
        EXPECT_LE(elapsedInWords(elapsed).size(), elapsedInWords(elapsed + 1s).size());
    }
}

TEST(SpinnerTest, DrawsOneLineAgainAndAgainAndErasesIt) {
    Terminal terminal;
    std::string drawn;
    {
        const Spinner spinner(terminal.writer(), 0ms);
        drawn = terminal.readUntil(kFrameEnd);
        drawn += terminal.readUntil(kFrameEnd);
    }
    terminal.closeWriter();
    EXPECT_THAT(drawn, MatchesRegex("\r[-|/\\] waiting for the answer, [0-9]+ s"
                                    "\r[-|/\\] waiting for the answer, [0-9]+ s"));
    const std::string rest = terminal.rest();
    // Over the whole of the last line.
    const std::string last = drawn + rest.substr(0, rest.find_last_not_of("\r ") + 1);
    const size_t width = last.size() - last.rfind('\r') - 1;
    EXPECT_THAT(rest, EndsWith("\r" + std::string(width, ' ') + "\r"));
}

TEST(SpinnerTest, TellsWhatIsWaitedFor) {
    Terminal terminal;
    const Spinner spinner(terminal.writer(), 0ms, "the cover");
    EXPECT_THAT(terminal.readUntil(kFrameEnd), EndsWith(" waiting for the cover, 0 s"));
}

TEST(SpinnerTest, AQuickAnswerDrawsNothing) {
    Terminal terminal;
    { const Spinner spinner(terminal.writer(), 1h); }
    terminal.closeWriter();
    EXPECT_EQ("", terminal.rest());
}

// Beside one that draws, so that it had the time.
TEST(SpinnerTest, OnAPipeItIsSilent) {
    int ends[2];
    ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
    Terminal terminal;
    {
        const Spinner silent(ends[1], 0ms);
        const Spinner spinner(terminal.writer(), 0ms);
        terminal.readUntil(kFrameEnd);
        terminal.readUntil(kFrameEnd);
    }
    close(ends[1]);
    char byte;
    EXPECT_EQ(0, read(ends[0], &byte, 1));
    close(ends[0]);
}
