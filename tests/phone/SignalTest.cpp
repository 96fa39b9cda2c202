// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Signals that the emulator sends to its program.
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <sched.h>
#include <signal.h>

#include "tests/phone/Program.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class SignalTest : public program::ProgramTest {
  protected:
    // The program prints its process id first.
    void start(const std::string& script) {
        phone = std::make_unique<program::Process>(
                emulator({"run", "--journal", mFolder + "/journal", "--", "/bin/sh", "-c",
                          "echo $$; " + script}));
        pid = std::stoi(phone->line());
    }
    void send(const std::string& signal) {
        const program::Outcome outcome = ctl({"signal", signal});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out + outcome.err, "");
    }
    // 'T': it is stopped.
    char state() const {
        const std::string stat = contentOf("/proc/" + std::to_string(pid) + "/stat");
        const size_t name = stat.rfind(") ");
        return name == std::string::npos ? '?' : stat[name + 2];
    }
    std::vector<std::string> recorded() const {
        std::vector<std::string> lines;
        for (const std::string& line : program::linesOf(contentOf(mFolder + "/journal"))) {
            const size_t kind = line.find("\"kind\":\"signal\"");
            if (kind != std::string::npos) lines.push_back(line.substr(kind));
        }
        return lines;
    }

    std::unique_ptr<program::Process> phone;
    pid_t pid = -1;
};

// The program's child has a trap of its own, and would say so.
TEST_F(SignalTest, ReachesTheProgramAndNotWhatItStarted) {
    start("trap 'echo got it; exit 3' USR1;"
          "sh -c 'trap \"echo child\" USR1; echo ready; while :; do sleep 0.01; done' & wait");
    phone->waitFor("ready\n");
    send("USR1");
    EXPECT_EQ(phone->wait(), 3) << phone->err();
    EXPECT_THAT(phone->out(), HasSubstr("ready\ngot it\n"));
    EXPECT_THAT(recorded(), ElementsAre(R"("kind":"signal","bytes":"USR1"})"));
}

TEST_F(SignalTest, OneThatKillsIsTheProgramsEnd) {
    start("echo ready; exec sleep 1000");
    phone->waitFor("ready\n");
    send("KILL");
    EXPECT_EQ(phone->wait(), 128 + SIGKILL);
    EXPECT_THAT(recorded(), ElementsAre(R"("kind":"signal","bytes":"KILL"})"));
}

TEST_F(SignalTest, AStoppedProgramGoesOn) {
    start("trap 'exit 5' TERM; echo ready; while :; do sleep 0.01; done");
    phone->waitFor("ready\n");
    send("STOP");
    while (state() != 'T') sched_yield();
    send("TERM");
    EXPECT_EQ(state(), 'T');
    send("CONT");
    EXPECT_EQ(phone->wait(), 5);
    EXPECT_THAT(recorded(), ElementsAre(R"("kind":"signal","bytes":"STOP"})",
                                        R"("kind":"signal","bytes":"TERM"})",
                                        R"("kind":"signal","bytes":"CONT"})"));
}

TEST_F(SignalTest, StandsBetweenWhatTheProgramDidBeforeAndAfter) {
    start("trap 'echo 2 > /sys/power/wake_lock; exit 0' USR1;"
          "echo 1 > /sys/power/wake_lock; echo ready; while :; do sleep 0.01; done");
    phone->waitFor("ready\n");
    send("USR1");
    EXPECT_EQ(phone->wait(), 0);
    const std::string journal = contentOf(mFolder + "/journal");
    const size_t signal = journal.find("\"kind\":\"signal\"");
    EXPECT_LT(journal.find(R"("bytes":"1\\n")"), signal);
    EXPECT_LT(signal, journal.find(R"("bytes":"2\\n")"));
    EXPECT_NE(journal.find(R"("bytes":"2\\n")"), std::string::npos);
}

}  // namespace
