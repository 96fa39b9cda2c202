// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The answer parser: lines as the tty hands them over in, stored text and verdict out.
#include "kernel/serial/AtAnswer.h"

#include <cstring>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using namespace std::string_literals;
using Line = AtAnswer::Line;

constexpr char kUntouched = '\x7f';

struct Exchange {
    const char* what;
    std::string cmd;
    std::string lines;   // as the tty hands them over, with "|" between them
    std::string kinds;   // of the lines: S stray, B start, C content, E end
    std::string stored;  // the bytes of `resp` that the answer took, its final NUL included
    size_t capacity = 1024;
};

void PrintTo(const Exchange& exchange, std::ostream* out) {
    *out << exchange.what;
}

char letterOf(Line kind) {
    switch (kind) {
        case Line::kStray:
            return 'S';
        case Line::kStart:
            return 'B';
        case Line::kContent:
            return 'C';
        case Line::kEnd:
            return 'E';
    }
    return '?';
}

class AtAnswerTest : public testing::TestWithParam<Exchange> {};

TEST_P(AtAnswerTest, StoresTheAnswerAndNothingElse) {
    const Exchange& given = GetParam();
    std::vector<char> resp(given.capacity + 1, kUntouched);
    AtAnswer answer(given.cmd.c_str(), resp.data(), given.capacity);

    std::string kinds;
    std::istringstream lines(given.lines);
    for (std::string line; std::getline(lines, line, '|');) {
        const Line kind = answer.take(line.c_str(), line.size());
        kinds += letterOf(kind);
        if (kind == Line::kStray || kind == Line::kContent) answer.store(line.data(), line.size());
    }

    EXPECT_EQ(answer.finish(), given.stored.size());
    EXPECT_EQ(kinds, given.kinds);
    EXPECT_EQ(std::string(resp.data(), given.stored.size()), given.stored);
    EXPECT_EQ(resp[given.capacity], kUntouched) << "a byte outside the buffer";
}

INSTANTIATE_TEST_SUITE_P(
        Exchanges, AtAnswerTest,
        testing::Values(
                Exchange{"an answer of one line", "AT%SWV\r", "\n|V1\n|OK\n", "BCE", "V1\0"s},
                Exchange{"an answer without lines", "ATE0\r", "\n|OK\n", "BE", ""},
                Exchange{"lines stand back to back", "AT%X\r", "\n|a\n|b\n|OK\n", "BCCE",
                         "a\nb\0"s},
                Exchange{"the echo starts the answer too", "AT%X\r", "AT%X\n|a\n|OK\n", "BCE",
                         "a\0"s},
                Exchange{"the echo in another case", "AT%X\r", "at%x\n|OK\n", "BE", ""},
                Exchange{"a longer line is no echo", "AT%X\r", "AT%XY\n|OK\n", "SE", "AT%XY\0"s},
                Exchange{"a shorter line is no echo", "AT%XY\r", "AT%X\n|OK\n", "SE", "AT%X\0"s},
                Exchange{"blank line after the echo belongs to the answer", "AT%X\r",
                         "AT%X\n|\n|a\n|OK\n", "BCCE", "\na\0"s},
                Exchange{"the echo after a blank line belongs to the answer", "AT%X\r",
                         "\n|AT%X\n|OK\n", "BCE", "AT%X\0"s},
                Exchange{"stray lines are dropped at the start", "AT%X\r",
                         "log\n|more\n|\n|a\n|OK\n", "SSBCE", "a\0"s},
                Exchange{"stray lines stay when no start comes", "AT%X\r", "log\n|OK\n", "SE",
                         "log\0"s},
                Exchange{"OK alone", "AT%X\r", "OK\n", "E", ""},
                Exchange{"OK in any case", "AT%X\r", "\n|oK\n", "BE", ""},
                Exchange{"ERROR ends the answer", "AT%X\r", "\n|ERROR\n", "BE", ""},
                Exchange{"ERROR in any case, before the start", "AT%X\r", "error\n", "E", ""},
                Exchange{"OK with a blank is a line", "AT%X\r", "\n|OK \n|OK\n", "BCE", "OK \0"s},
                Exchange{"OKAY is a line", "AT%X\r", "\n|OKAY\n|OK\n", "BCE", "OKAY\0"s},
                Exchange{"ERROR with more is a line", "AT%X\r", "\n|ERROR 3\n|OK\n", "BCE",
                         "ERROR 3\0"s},
                Exchange{"the answer is cut at the buffer", "AT%X\r", "\n|abcdef\n|OK\n", "BCE",
                         "abc\0"s, 4},
                Exchange{"the answer fits the buffer exactly", "AT%X\r", "\n|abc\n|OK\n", "BCE",
                         "abc\0"s, 4},
                Exchange{"lines after the cut are dropped", "AT%X\r", "\n|abc\n|d\n|OK\n", "BCCE",
                         "ab\0"s, 3},
                Exchange{"room is given back at the start", "AT%X\r", "stray\n|\n|abc\n|OK\n",
                         "SBCE", "abc\0"s, 4},
                Exchange{"a buffer of one byte holds the NUL", "AT%X\r", "\n|a\n|OK\n", "BCE",
                         "\0"s, 1},
                Exchange{"a buffer of no bytes", "AT%X\r", "\n|a\n|OK\n", "BCE", "", 0},
                Exchange{"NUL bytes are kept", "AT%X\r", "\n|a\0b\n|OK\n"s, "BCE", "a\0b\0"s},
                Exchange{"a piece of a long line keeps its bytes but the last", "AT%X\r",
                         "\n|abc|OK\n", "BCE", "ab\0"s},
                Exchange{"an empty read is a stray line", "AT%X\r", "|\n|OK\n", "SBE", ""}));

TEST(AtAnswer, LeavesNoStrayTextInABufferWhoseAnswerIsEmpty) {
    char resp[16] = {};
    AtAnswer answer("AT%X\r", resp, sizeof(resp));
    answer.take("stray\n", 6);
    answer.store("stray\n", 6);

    answer.take("\n", 1);
    answer.take("OK\n", 3);

    EXPECT_EQ(answer.finish(), 0u);
    EXPECT_STREQ(resp, "");
}

TEST(AtAnswer, StoresNothingWithoutABuffer) {
    AtAnswer answer("AT%X\r", nullptr, 1024);
    answer.take("\n", 1);
    answer.store("a\n", 2);
    EXPECT_EQ(answer.finish(), 0u);
}

TEST(AtAnswer, TakesALineThatBeginsWithEForARejection) {
    EXPECT_TRUE(isRejection("ERROR\n"));
    EXPECT_TRUE(isRejection("error\n"));
    EXPECT_FALSE(isRejection("OK\n"));
    EXPECT_FALSE(isRejection(""));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
