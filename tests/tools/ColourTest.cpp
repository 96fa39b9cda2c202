// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Only a person at a terminal gets colours.
#include <gmock/gmock.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "tests/tools/Cli.h"

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr char kPlain[] = "service       running, ";
constexpr char kBold[] = "\033[1mservice\033[0m       running, ";

class ColourTest : public CliTest {
  protected:
    ColourTest() {
        setenv("TERM", "xterm", 1);
        unsetenv("NO_COLOR");
    }
};

}  // namespace

TEST_F(ColourTest, ATerminalGetsThemAndAPipeDoesNot) {
    givenService();
    EXPECT_THAT(runOnTerminal({"status"}).output, StartsWith(kBold));
    EXPECT_THAT(run({"status"}).output, StartsWith(kPlain));
}

TEST_F(ColourTest, ATerminalThatKnowsNoneGetsNone) {
    givenService();
    setenv("TERM", "dumb", 1);
    EXPECT_THAT(runOnTerminal({"status"}).output, StartsWith(kPlain));
    unsetenv("TERM");
    EXPECT_THAT(runOnTerminal({"status"}).output, StartsWith(kPlain));
}

TEST_F(ColourTest, NoColorInTheEnvironmentCountsUnlessItIsEmpty) {
    givenService();
    setenv("NO_COLOR", "1", 1);
    EXPECT_THAT(runOnTerminal({"status"}).output, StartsWith(kPlain));
    setenv("NO_COLOR", "", 1);
    EXPECT_THAT(runOnTerminal({"status"}).output, StartsWith(kBold));
}

TEST_F(ColourTest, TheOptionCountsMoreThanAllThat) {
    givenService();
    EXPECT_THAT(runOnTerminal({"--color=never", "status"}).output, StartsWith(kPlain));
    EXPECT_THAT(runOnTerminal({"--color=auto", "status"}).output, StartsWith(kBold));
    setenv("NO_COLOR", "1", 1);
    setenv("TERM", "dumb", 1);
    EXPECT_THAT(run({"--color=always", "status"}).output, StartsWith(kBold));
}

TEST_F(ColourTest, TheOptionMayStandAfterTheCommand) {
    givenService();
    EXPECT_THAT(run({"status", "--color", "always"}).output, StartsWith(kBold));
    EXPECT_THAT(runOnTerminal({"sub", "state", "--color=never"}).output, Not(HasSubstr("\033")));
}

TEST_F(ColourTest, AnotherWordIsWrongUsage) {
    expectWrongUsage({{"--color=maybe", "status"}, "maybe not in {never,auto,always}"});
}

TEST_F(ColourTest, JsonHasNone) {
    givenService();
    EXPECT_THAT(run({"--color=always", "status", "--json"}).output, Not(HasSubstr("\033")));
    EXPECT_THAT(run({"--color=always", "call", "getBV2Connect"}).output, Not(HasSubstr("\033")));
}

TEST_F(ColourTest, FailuresAreRedOnStandardErrorAlone) {
    const Result result = run({"--color=always", "power", "on"});
    EXPECT_EQ(3, result.code);
    EXPECT_EQ("", result.output);
    EXPECT_THAT(result.errors, StartsWith("\033[1;31mbivistactl:\033[0m no Bivista service"));
    EXPECT_THAT(run({"power", "on"}).errors, StartsWith("bivistactl: no Bivista service"));
}

TEST_F(ColourTest, TheDoctorsVerdictsHaveTheirs) {
    const std::string output = run({"--color=always", "doctor"}).output;
    EXPECT_THAT(output, HasSubstr("\033[1;31mproblem\033[0m  service: "));
    EXPECT_THAT(output, HasSubstr("\033[32mok\033[0m       "));
}
