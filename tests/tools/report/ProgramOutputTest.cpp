// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Programs that are run for what they print.
#include <gmock/gmock.h>

#include "tools/report/Program.h"

namespace report {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;

constexpr milliseconds kLong(600'000);

Printed shell(const std::string& script, size_t most = 1000, milliseconds patience = kLong) {
    return runProgram({"sh", "-c", script}, most, patience);
}

TEST(ProgramOutputTest, IsWhatTheProgramPrints) {
    const Printed printed = shell("echo out; echo err >&2");
    EXPECT_EQ("out\n", printed.text);
    EXPECT_EQ("", printed.fault);
}

TEST(ProgramOutputTest, KeepsTheLastWholeLines) {
    for (const size_t most : {4, 5}) {
        EXPECT_EQ("8\n9\n", shell("for i in 0 1 2 3 4 5 6 7 8 9; do echo $i; done", most).text);
        EXPECT_EQ("8\n9\n", lastLines("7\n8\n9\n", most));
        EXPECT_EQ("8\n9\n", lastLines("8\n9\n", most));
    }
    const Printed many = shell("yes | head -c 1000000; echo end", 100);
    EXPECT_LE(many.text.size(), 100u);
    EXPECT_THAT(many.text, testing::EndsWith("y\nend\n"));
}

TEST(ProgramOutputTest, AFailureIsItsLastError) {
    EXPECT_EQ("second", shell("echo out; echo first >&2; echo second >&2; exit 3").fault);
    EXPECT_EQ("sh failed", shell("exit 3").fault);
}

TEST(ProgramOutputTest, AProgramThatDoesNotEndIsKilled) {
    EXPECT_THAT(shell("sleep 600 & echo; wait", 1000, milliseconds(50)).fault,
                HasSubstr("took longer than 50 ms"));
    EXPECT_THAT(shell("exec >&- 2>&-; sleep 600", 1000, milliseconds(50)).fault,
                HasSubstr("took longer than 50 ms"));
}

TEST(ProgramOutputTest, AProgramThatIsNotThereIsNamed) {
    EXPECT_EQ("cannot run no-such-program: No such file or directory",
              runProgram({"no-such-program"}, 10, kLong).fault);
}

}  // namespace
}  // namespace report
