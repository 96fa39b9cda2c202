// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What all the programs have in common: --version, help that cannot be written, unknown words.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/tools/Cli.h"

using testing::EndsWith;
using testing::StartsWith;

namespace {

using Words = std::vector<std::string>;

struct Program {
    std::string path;
    std::string name;
};

const Program kPrograms[] = {
        {BIVISTACTL, "bivistactl"}, {EMULATOR, "bivista-emulator"}, {SUITE, "bivista-vts"}};

class ProgramsTest : public CliTest {
  protected:
    Result runProgram(const Words& command, int output = -1) const {
        const support::Outcome outcome = Process(command, {.standardOutput = output}).outcome();
        return {outcome.status, outcome.out, outcome.err};
    }

    // Through a shell.
    Result runShell(const std::string& command) const {
        return runProgram({"/bin/sh", "-c", command});
    }
};

}  // namespace

TEST_F(ProgramsTest, TellThePackagesVersion) {
    for (const auto& [path, name] : kPrograms) {
        const Result result = runProgram({path, "--version"});
        EXPECT_EQ(0, result.code);
        EXPECT_EQ(name + " " VERSION "\n", result.output);
        EXPECT_EQ("", result.errors);
    }
}

TEST_F(ProgramsTest, HelpAndVersionThatCannotBeWrittenEndWithFour) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    for (const auto& [path, name] : kPrograms) {
        const std::string told = name + ": cannot write to standard output";
        for (const char* option : {"--help", "--version"}) {
            const Result result = runProgram({path, option}, full);
            EXPECT_EQ(4, result.code) << name;
            EXPECT_THAT(result.errors, StartsWith(told));
            const Result closed = runShell(path + " " + option + " >&-");
            EXPECT_EQ(4, closed.code) << name;
            EXPECT_THAT(closed.errors, StartsWith(told));
        }
    }
    for (const Words& words : {Words{"ctl"}, {"run"}, {"ctl", "show"}}) {
        Words command = {EMULATOR};
        command.insert(command.end(), words.begin(), words.end());
        command.emplace_back("--help");
        EXPECT_EQ(4, runProgram(command, full).code);
    }
    close(full);
}

// The results of its tests are what it is run for.
TEST_F(ProgramsTest, TheSuiteEndsWithFourWhenItsReportCannotBeWritten) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    EXPECT_EQ(4, runProgram({SUITE, "--gtest_list_tests"}, full).code);
    EXPECT_EQ(0, runProgram({SUITE, "--gtest_list_tests"}).code);
    close(full);
}

TEST_F(ProgramsTest, TheEmulatorTooNamesTheNearestCommand) {
    const std::string begin = "bivista-emulator: there is no ";
    const Result wrong = runProgram({EMULATOR, "ctl", "snapsht", "x.png"});
    EXPECT_EQ(2, wrong.code);
    EXPECT_EQ(begin + "command \"snapsht\": did you mean snapshot? \"bivista-emulator ctl --help\" "
                      "lists them.\n",
              wrong.errors);
    EXPECT_EQ(
            begin + "command \"rnu\": did you mean run? \"bivista-emulator --help\" lists them.\n",
            runProgram({EMULATOR, "rnu"}).errors);
    EXPECT_EQ(begin + "option \"--no-ty\": did you mean --no-tty? \"bivista-emulator ctl attach "
                      "--help\" lists them.\n",
              runProgram({EMULATOR, "ctl", "attach", "--no-ty"}).errors);
    EXPECT_THAT(runProgram({EMULATOR, "ctl", "qwxz"}).errors,
                EndsWith("command \"qwxz\". \"bivista-emulator ctl --help\" lists them.\n"));
}
