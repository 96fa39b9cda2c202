// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Bytes as text and back.
#include "emulator/cover/Text.h"

#include <gtest/gtest.h>

namespace cover {
namespace {

using namespace std::string_literals;

TEST(Escape, SpellsControlBytesAndLeavesPrintableOnes) {
    EXPECT_EQ(escape("\r\n\t\\\"\0\x7f\xff ok~"s), R"(\r\n\t\\\"\x00\x7f\xff ok~)");
    EXPECT_EQ(escape(""), "");
    EXPECT_EQ(quote("a\n"), R"("a\n")");
}

TEST(Escape, LosesNothingOfAnyTwoBytes) {
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            const std::string bytes = {static_cast<char>(first), static_cast<char>(second)};
            ASSERT_EQ(unescape(escape(bytes)), bytes) << first << ' ' << second;
        }
    }
}

TEST(Unescape, TakesHexDigitsInEitherCaseAndOtherBytesAsTheyAre) {
    EXPECT_EQ(unescape(R"(\x4a\x4A\xFf)"), "JJ\xff");
    EXPECT_EQ(unescape("\xff\n"), "\xff\n");
}

TEST(Unescape, RefusesLoneUnknownAndUnfinishedEscapes) {
    for (const char* text : {"\\", "a\\", "\\q", "\\x", "\\x1", "\\xg0", "\\x0g", "\\R", "\\0"}) {
        EXPECT_EQ(unescape(text), std::nullopt) << text;
    }
}

TEST(StartsWith, ComparesLettersWithoutCaseAndOtherBytesExactly) {
    EXPECT_TRUE(startsWithNoCase("AT%swv", "at%SW"));
    EXPECT_TRUE(startsWithNoCase("x", ""));
    EXPECT_TRUE(startsWithNoCase("", ""));
    EXPECT_FALSE(startsWithNoCase("AT", "ATE"));
    EXPECT_FALSE(startsWithNoCase("[", "{"));
    EXPECT_FALSE(startsWithNoCase("@", "`"));
}

}  // namespace
}  // namespace cover
