// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The touch driver's text in, the command to the cover out.
#include "display/TouchUpdateState.h"

#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

struct State {
    const char* what;
    std::string text;
    std::string numbers;  // as the command lists them
};

void PrintTo(const State& state, std::ostream* out) {
    *out << state.what;
}

class UpdateStateCommandTest : public testing::TestWithParam<State> {};

TEST_P(UpdateStateCommandTest, ListsTheLeadingNumbers) {
    EXPECT_EQ(makeUpdateStateCommand(GetParam().text),
              "AT%TCHUPDATE=UPDATE_STATE" + GetParam().numbers + "\r");
}

INSTANTIATE_TEST_SUITE_P(
        Texts, UpdateStateCommandTest,
        testing::Values(State{"three numbers", "3 1 0", ",3,1,0"},
                        State{"a line end behind", "5\n", ",5"},
                        State{"all kinds of white space", " \t3\r\n\v1\f 0 \n\n", ",3,1,0"},
                        State{"nothing", "", ""}, State{"white space alone", " \n\t\n", ""},
                        State{"a word in the middle", "1 2 x 4", ",1,2"},
                        State{"a word first", "x 1 2", ""}, State{"signs", "-7 12", ",-7,12"},
                        State{"a plus sign", "+7 1", ",7,1"}, State{"a lone sign", "1 - 2", ",1"},
                        State{"leading zeros", "007 -08", ",7,-8"},
                        State{"the ends of the range", "2147483647 -2147483648",
                              ",2147483647,-2147483648"},
                        State{"beyond the range", "1 2147483648 2", ",1"},
                        State{"below the range", "1 -2147483649 2", ",1"},
                        State{"far beyond", "1 99999999999999999999999999 2", ",1"},
                        State{"hexadecimal", "0x10 1", ",0"},
                        // Meant: no more numbers than words.
                        State{"a number that begins a word", "12abc", ",12"},
                        State{"a number behind a word's number", "12abc 5", ",12"},
                        State{"two numbers in one word", "5-3", ",5"},
                        State{"two numbers in one word, and one more word", "5-3 7", ",5,-3"},
                        State{"commas", "1,2,3", ",1"}, State{"a fraction", "1.5 2", ",1"},
                        State{"bytes that are no text", "1 \xff\xfe 2", ",1"},
                        State{"a NUL", std::string("1 \0 2", 5), ",1"}),
        [](const auto& info) { return "Nr" + std::to_string(info.index); });

TEST(UpdateStateCommand, ListsTenThousandNumbers) {
    std::string text;
    std::string numbers;
    for (int i = 0; i < 10000; ++i) {
        text += std::to_string(i) + " ";
        numbers += "," + std::to_string(i);
    }
    EXPECT_EQ(makeUpdateStateCommand(text), "AT%TCHUPDATE=UPDATE_STATE" + numbers + "\r");
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
