// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/doctor/ShellWord.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "tests/support/Process.h"

using namespace doctor;

namespace {

// What bash makes of a command line that prints one word.
std::string printedBy(const std::string& word) {
    return support::Process({"bash", "-c", "printf %s " + word}).outcome().out;
}

}  // namespace

TEST(WordsTest, APlainNameIsLeftAsItIs) {
    EXPECT_EQ("/run/hidl/vendor.a@1.1::B/default", shellWord("/run/hidl/vendor.a@1.1::B/default"));
}

TEST(WordsTest, ANameIsOneWordOfAShell) {
    EXPECT_EQ("'a b'", shellWord("a b"));
    EXPECT_EQ("'it'\\''s'", shellWord("it's"));
    EXPECT_EQ("''", shellWord(""));
    EXPECT_EQ("'\xc3\xa4'", shellWord("\xc3\xa4"));
    EXPECT_EQ("$'a\\012b'", shellWord("a\nb"));
    EXPECT_EQ("$'\\012'", shellWord("\n"));
    EXPECT_EQ("$'\\033[31m\\377\\047\\134'", shellWord("\x1b[31m\xff'\\"));
}

TEST(WordsTest, AShellReadsTheNameAgain) {
    for (const std::string& name :
         std::vector<std::string>{"plain", "a b", "$(id) `id` $HOME ; rm -r x", "'\"\\", "~", "*",
                                  "\n", "a\tb\x1b\x7f", "\xff\xfe'", "!x", "\xc3\xa4", "#"}) {
        EXPECT_EQ(name, printedBy(shellWord(name))) << shellWord(name);
    }
}

TEST(WordsTest, ALongListIsShortened) {
    EXPECT_EQ("a, b", listed({"a", "b"}));
    EXPECT_EQ("a b c d e", listed({"a", "b", "c", "d", "e"}, " "));
    const std::vector<std::string> seven = {"1", "2", "3", "4", "5", "6", "7"};
    EXPECT_EQ("1, 2, 3, 4, 5 and 2 more", listed(seven));
    EXPECT_EQ("1 2 3 4 5", firstOf(seven, " "));
    EXPECT_EQ(" # the first 5 of 7; then see the doctor again", restOf(seven));
    EXPECT_EQ("", restOf({"1", "2", "3", "4", "5"}));
    EXPECT_EQ("", listed({}));
}
