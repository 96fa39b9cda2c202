// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "cli/Suggestion.h"

#include <gtest/gtest.h>

using cli::suggest;

namespace {

const std::vector<std::string> kNames = {"status", "doctor", "brightness", "sub", "at", "snapshot"};

}  // namespace

TEST(SuggestionTest, IsTheNearestName) {
    EXPECT_EQ(": did you mean status?", suggest("statsu", kNames));
    EXPECT_EQ(": did you mean status?", suggest("sttus", kNames));
    EXPECT_EQ(": did you mean snapshot?", suggest("snapsht", kNames));
    EXPECT_EQ(": did you mean brightness?", suggest("brigthnes", kNames));
    EXPECT_EQ(": did you mean doctor?", suggest("dcotro", kNames));
}

TEST(SuggestionTest, IsAWholeNameForItsBeginning) {
    EXPECT_EQ(": did you mean brightness?", suggest("br", kNames));
    EXPECT_EQ(": did you mean status?", suggest("stat", kNames));
}

TEST(SuggestionTest, KnowsNoCaseOfLetters) {
    EXPECT_EQ(": did you mean status?", suggest("STATUS", kNames));
    EXPECT_EQ(": did you mean setBrightness?", suggest("setbrightness", {"setBrightness"}));
}

TEST(SuggestionTest, IsNoneForNonsense) {
    EXPECT_EQ("", suggest("brew", kNames));
    EXPECT_EQ("", suggest("s", kNames));
    EXPECT_EQ("", suggest("xyz", kNames));
    EXPECT_EQ("", suggest("doctor's", {}));
}

TEST(SuggestionTest, AShortWordMayHaveOneSlipOnly) {
    EXPECT_EQ(": did you mean sub?", suggest("sbu", kNames));
    EXPECT_EQ("", suggest("sxx", kNames));
}
