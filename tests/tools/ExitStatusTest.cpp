// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Scripts rely on these numbers: they never change.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/tools/Cli.h"

namespace {

class ExitStatusTest : public CliTest {};

using Words = std::vector<std::string>;

// One of each kind: a setting, a question, a text, JSON, the raw call.
const std::vector<Words> kAsking = {
        {"power", "on"}, {"brightness", "1"},    {"sub", "state"},         {"cutout"},
        {"at", "AT"},    {"call", "getGpiopin"}, {"sub", "info", "--json"}};

}  // namespace

TEST_F(ExitStatusTest, DoneIsZero) {
    givenService();
    for (const Words& words : kAsking) EXPECT_EQ(0, run(words).code) << words[0];
    EXPECT_EQ(0, run({"status"}).code);
    EXPECT_EQ(0, run({"--help"}).code);
    EXPECT_EQ(0, run({"sub", "show", "--help"}).code);
}

TEST_F(ExitStatusTest, AnAnswerOfFailIsOne) {
    givenService({"--fail"});
    for (const Words& words : kAsking) EXPECT_EQ(1, run(words).code) << words[0];
}

TEST_F(ExitStatusTest, AProblemThatTheDoctorFindsIsOne) {
    EXPECT_EQ(1, run({"doctor", "--root", mFolder}).code);
}

TEST_F(ExitStatusTest, WrongUsageIsTwo) {
    for (const Words& words : std::vector<Words>{{},
                                                 {"brew"},
                                                 {"power"},
                                                 {"power", "up"},
                                                 {"brightness", "256"},
                                                 {"sub"},
                                                 {"at"},
                                                 {"call"},
                                                 {"call", "brew"},
                                                 {"call", "setBrightness"},
                                                 {"status", "--brew"},
                                                 {"doctor", "--user"}}) {
        EXPECT_EQ(2, run(words).code) << testing::PrintToString(words);
    }
}

TEST_F(ExitStatusTest, NoServiceIsThree) {
    for (const Words& words : kAsking) EXPECT_EQ(3, run(words).code) << words[0];
    for (const Words& words : std::vector<Words>{{"status"}, {"watch", "sub"}, {"watch", "lpwg"}}) {
        EXPECT_EQ(3, run(words).code) << words[0];
    }
}

TEST_F(ExitStatusTest, AServiceThatDiesInTheCallIsThree) {
    givenService({"--exit-in", "getGpiopin"});
    EXPECT_EQ(3, run({"call", "getGpiopin"}).code);
}

// What this program opens must not take the place of what is closed.
TEST_F(ExitStatusTest, ClosedOutputIsFourAndReachesNobody) {
    givenService();
    for (const char* words : {"status", "sub info --json", "call getGpiopin", "dump"}) {
        for (const char* closed : {" >&-", " <&- >&-", " <&- >&- 2>&-"}) {
            const std::string command = std::string(BIVISTACTL) + " " + words + closed;
            const support::Outcome outcome = Process({"/bin/sh", "-c", command}).outcome();
            EXPECT_EQ(4, outcome.status) << command;
            const std::string told =
                    "bivistactl: cannot write to standard output: Bad file descriptor\n";
            EXPECT_EQ(outcome.err, command.ends_with("2>&-") ? "" : told) << command;
            EXPECT_EQ(0, run({"status"}).code) << command;
        }
    }
}

TEST_F(ExitStatusTest, OutputThatCannotBeWrittenIsFour) {
    givenService();
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    for (const Words& words : std::vector<Words>{{"status"},
                                                 {"doctor"},
                                                 {"doctor", "--json"},
                                                 {"cutout"},
                                                 {"dump"},
                                                 {"sub", "info", "--json"},
                                                 {"call", "getGpiopin"}}) {
        EXPECT_EQ(4, run(words, full).code) << words[0];
    }
    close(full);
}
