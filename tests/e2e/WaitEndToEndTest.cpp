// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl wait against the service and its emulated phone, and a signal of the emulator.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/e2e/Programs.h"

namespace e2e {
namespace {

using testing::HasSubstr;

class WaitEndToEndTest : public ProgramsTest {
  protected:
    static std::unique_ptr<Process> startWait(std::vector<std::string> words) {
        words.insert(words.begin(), {bin("bivistactl"), "wait"});
        words.insert(words.end(), {"--timeout", "3600"});
        return std::make_unique<Process>(words);
    }
    static void wait(const std::vector<std::string>& words) {
        const Outcome outcome = startWait(words)->outcome();
        EXPECT_EQ(outcome.status, 0) << testing::PrintToString(words);
        EXPECT_EQ(outcome.out + outcome.err, "");
    }
    Outcome type(std::vector<std::string> words) const {
        words.insert(words.begin(), bin("bivistactl"));
        return run(words);
    }
    size_t countReceived(const std::string& command) const {
        return count(journal(), "\"bytes\":\"" + command + "\\\\r\"");
    }
};

TEST_F(WaitEndToEndTest, FollowsACoverThatComesAndGoes) {
    // Before there is a service.
    const auto detached = startWait({"detached"});
    startPhone({"--no-cover"});
    EXPECT_EQ(detached->wait(), 0);
    for (size_t times = 1; times <= 3; ++times) {
        const auto attached = startWait({"attached", "sub=ON"});
        ctl({"attach"});
        EXPECT_EQ(attached->wait(), 0);
        EXPECT_EQ(type({"at", "AT%SWV"}).status, 0);
        EXPECT_EQ(type({"power", "on"}).status, 0);
        wait({"screen=on", "attached"});
        ctl({"detach"});
        wait({"detached", "screen=off", "sub=UNINITIALIZED"});
        EXPECT_EQ(count(log(), "bv2_display_deinit --"), times);
    }
}

TEST_F(WaitEndToEndTest, AsksACoverForItsFirmwareAndNothingElse) {
    startPhone({"--firmware-version", "BV330-V77_1"});
    wait({"attached", "sub=ON", "screen=off"});
    EXPECT_EQ(countReceived("AT%SWV"), 0u);
    wait({"firmware=BV330-V77_1"});
    EXPECT_EQ(countReceived("AT%SWV"), 1u);
    const Outcome late = type({"wait", "firmware=BV330-V78_1", "--timeout", "0.2"});
    EXPECT_EQ(late.status, 1);
    EXPECT_EQ(late.err,
              "bivistactl: not so within 0.2 s: firmware=BV330-V78_1. The last state: attached, "
              "screen=off, sub=ON, firmware=BV330-V77_1\n");
}

// One that refuses the first command is not brought up.
TEST_F(WaitEndToEndTest, ACoverWhoseAttachBreaksOffIsNotAttached) {
    startPhone({"--no-cover"});
    ctl({"fault", "on ATE0 error"});
    ctl({"attach"});
    wait({"sub=ON"});
    awaitLog("failed to write ATE0");
    const Outcome outcome = type({"wait", "attached", "--timeout", "0"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("neither attached nor detached"));
}

// The emulator's signal reaches the service itself, below its keeper.
TEST_F(WaitEndToEndTest, ASignalReachesTheService) {
    startPhone();
    wait({"attached"});
    ctl({"signal", "USR1"});
    awaitLog("destroy set");
    EXPECT_THAT(journal(), HasSubstr(R"("kind":"signal","bytes":"USR1")"));
    ctl({"signal", "STOP"});
    const Outcome stopped = type({"wait", "attached", "--timeout", "0", "--patience-ms", "50"});
    EXPECT_EQ(stopped.status, 1);
    EXPECT_THAT(stopped.err, HasSubstr("The service does not answer: it is busy, or it hangs."));
    ctl({"signal", "CONT"});
    wait({"attached"});
    ctl({"signal", "KILL"});
    EXPECT_EQ(phone->wait(), 128 + 9);
}

}  // namespace
}  // namespace e2e
