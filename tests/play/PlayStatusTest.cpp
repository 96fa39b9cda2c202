// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The exit statuses of "play", what it starts, and its end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include <sys/stat.h>

#include "tests/play/PlayTest.h"

namespace play_test {
namespace {

namespace fs = std::filesystem;

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

class PlayStatusTest : public PlayTest {
  protected:
    // This program in a folder of its own, with a service that is this script; empty: none.
    std::string programWith(const std::string& service) const {
        const std::string program = folder + "/bin/bivista-emulator";
        fs::create_directory(folder + "/bin");
        fs::copy_file(bin("bivista-emulator"), program);
        if (service.empty()) return program;
        const std::string path = folder + "/bin/" + e2e::kService;
        std::ofstream(path) << "#!/bin/sh\n" << service << "\n";
        EXPECT_EQ(chmod(path.c_str(), 0755), 0);
        return program;
    }
};

TEST_F(PlayStatusTest, ZeroWhenAllCameAsExpected) {
    const std::string file =
            write("  - wait: attached\n"
                  "  - call: setBrightness\n    with: [128]\n    gives: OK\n"
                  "  - call: setPowerStatus\n    with: [true, false]\n    gives: OK\n"
                  "  - expect:\n"
                  "      - at: AT%BV=1\n"
                  "      - node: {bv2_pd: 1 0}\n"
                  "      - log: {D: {contains: AT%BV=1}}\n"
                  "      - state: {/screen/on: true}\n"
                  "  - wait: [{screen: \"on\"}, {state: {/screen/on: true}}]\n"
                  "  - run: bivistactl status\n    out: {contains: \"on\"}\n"
                  "  - pause: 10ms\n"
                  "  - never:\n      - node: {bv2_recovery: {matches: .*}}\n");
    const Outcome outcome = play({file, file});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    const std::string line = "ok  It works \\([0-9.]+ s\\)\n";
    EXPECT_THAT(outcome.out, MatchesRegex(line + line + "2 scenarios: 2 ok, 0 failed\n"));
    EXPECT_FALSE(hasTemporary());
    EXPECT_THAT(processes(), IsEmpty());
}

TEST_F(PlayStatusTest, TheNextScenarioStartsAfreshAfterAFailure) {
    const std::string bad = write("  - call: getBV2Connect\n    gives: 7\n", "bad",
                                  "start:\n  properties: {a.b: c}\n");
    const std::string good = write(
            "  - wait: attached\n"
            "  - expect:\n      - state: {/screen/on: false}\n      - state: {/properties: {}}\n",
            "good");
    const Outcome outcome = play({bad, good});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("\nok  It works ("));
    EXPECT_THAT(outcome.out, HasSubstr("\n2 scenarios: 1 ok, 1 failed\n"));
}

TEST_F(PlayStatusTest, TwoBeforeAnythingStarts) {
    const std::string right = write("  - pause: 1ms\n", "right");
    const std::string wrong = write("  - wiat: attached\n", "wrong");
    for (const bool checks : {false, true}) {
        std::vector<std::string> arguments = {right, wrong, folder + "/none.yaml"};
        if (checks) arguments.push_back("--check");
        const Outcome outcome = play(arguments);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, checks ? right + ": right, 1 step\n" : "");
        EXPECT_THAT(outcome.err, StartsWith("bivista-emulator: " + wrong + ":4:5: "));
        EXPECT_THAT(outcome.err, HasSubstr("\nbivista-emulator: " + folder + "/none.yaml: "));
        EXPECT_EQ(e2e::count(outcome.err, "\n"), 2u);
    }
}

TEST_F(PlayStatusTest, TwoForWrongArguments) {
    const std::string file = write("  - pause: 1ms\n");
    const std::string fifo = folder + "/fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::vector<std::vector<std::string>> wrong = {
            {},
            {file, "--format", "html"},
            {file, "--log", file},
            {file, "--running", "--log", folder + "/none"},
            {file, "--running", "--log", folder},
            {file, "--running", "--log", fifo},
            {file, "--running", "--keep", folder},
            {file, file, "--keep", folder},
            {file, "--keeep", folder}};
    for (const std::vector<std::string>& arguments : wrong) {
        const Outcome outcome = play(arguments);
        EXPECT_EQ(outcome.status, 2) << testing::PrintToString(arguments);
        EXPECT_EQ(outcome.out, "");
        EXPECT_NE(outcome.err, "");
    }
}

TEST_F(PlayStatusTest, CheckStartsNothing) {
    const Outcome outcome = run({programWith(""), "play", "--check", write("  - pause: 100s\n")});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, folder + "/s.yaml: right, 1 step\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(PlayStatusTest, ThreeWithoutAService) {
    const Outcome outcome = run({programWith(""), "play", write("  - pause: 1ms\n")});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(failureIn(outcome.out),
              "  " + folder +
                      "/s.yaml:1:1\n"
                      "  step:     start\n"
                      "  expected: the service serves\n"
                      "  came:     no vendor.qmx.hardware.bivista@1.1-service lies beside this "
                      "program\n"
                      "1 scenario: 0 ok, 0 failed, 1 without a service\n");
    EXPECT_FALSE(hasTemporary());
}

TEST_F(PlayStatusTest, AProgramThatIsNotThere) {
    const std::string program = programWith("exec " + bin(e2e::kService));
    setenv("PATH", "/usr/bin:/bin", 1);
    const Outcome outcome = run({program, "play", write("  - run: bivistactl status\n")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(failureIn(outcome.out),
                HasSubstr("  came:     exit status 127\n"
                          "            bivistactl cannot be started: No such file or directory\n"));
}

TEST_F(PlayStatusTest, ProgramsRunInTheScenariosFolder) {
    write("  - pause: 1ms\n", "other");
    const std::string file =
            write("  - run: bivista-emulator play --check other.yaml\n"
                  "    out: \"other.yaml: right, 1 step\\n\"\n");
    const Outcome outcome = play({file});
    EXPECT_EQ(outcome.status, 0) << outcome.out;
}

TEST_F(PlayStatusTest, ThreeForAServiceThatEndsAtOnce) {
    const std::string program = programWith("echo of no use >&2; exit 7");
    const Outcome outcome = run({program, "play", write("  - pause: 1ms\n")});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(failureIn(outcome.out),
                HasSubstr("  expected: the service serves\n"
                          "  came:     the service ended with status 7; its log ends with:\n"
                          "              of no use\n"));
    EXPECT_THAT(processes(), IsEmpty());
}

TEST_F(PlayStatusTest, ThreeForAServiceThatCrashesAtOnce) {
    const std::string program = programWith("kill -SEGV $$");
    const Outcome outcome = run({program, "play", write("  - pause: 1ms\n")});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(failureIn(outcome.out),
                HasSubstr("  came:     the service was ended by SIGSEGV; its log is empty\n"));
}

TEST_F(PlayStatusTest, ThreeForAServiceThatNeverServes) {
    const std::string program = programWith("exec sleep 1000");
    const Outcome outcome = run({program, "play", write("  - pause: 1ms\n")});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(failureIn(outcome.out), HasSubstr("  came:     it does not, after 30 s\n"));
    EXPECT_THAT(processes(), IsEmpty());
}

TEST_F(PlayStatusTest, ThreeWithoutAPhone) {
    // The sockets may not lie where the phone has its own files.
    setenv("TMPDIR", "/dev/shm", 1);
    const Outcome outcome = play({write("  - pause: 1ms\n")});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(
            failureIn(outcome.out),
            ContainsRegex("  came:     there is no phone: bivista-emulator: the socket folder "
                          "/dev/shm/bivista-scenario-[^ ]* lies in a folder that the phone has"));
}

TEST_F(PlayStatusTest, FourWhenTheOutputCannotBeWritten) {
    const Outcome outcome = run({"/bin/sh", "-c", "exec \"$@\" >/dev/full", "sh",
                                 bin("bivista-emulator"), "play", write("  - pause: 1ms\n")});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.err, StartsWith("bivista-emulator: "));
}

TEST_F(PlayStatusTest, FourWhenNothingCanBeKept) {
    std::ofstream(folder + "/file") << "x";
    const Outcome outcome = play({write("  - pause: 1ms\n"), "--keep", folder + "/file"});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.err, HasSubstr(folder + "/file"));
}

TEST_F(PlayStatusTest, TheWorstStatusCounts) {
    const std::string program = programWith("test -e " + folder + "/second && exit 1; touch " +
                                            folder + "/second; exec " + bin(e2e::kService));
    const std::string fails = write("  - call: getBV2Connect\n    gives: 7\n", "fails");
    const Outcome outcome = run({program, "play", fails, write("  - pause: 1ms\n")});
    EXPECT_EQ(outcome.status, 3) << outcome.out;
}

TEST_F(PlayStatusTest, KeepsJournalAndLog) {
    const std::string kept = folder + "/a/b";
    const Outcome outcome = play({write("  - wait: attached\n", "one.two"), "--keep", kept});
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    const Outcome journal = run({"cat", kept + "/one.two.jsonl"});
    EXPECT_THAT(journal.out, HasSubstr("\"kind\":\"attach\""));
    EXPECT_EQ(journal.out.back(), '\n');
    EXPECT_THAT(run({"cat", kept + "/one.two.log"}).out, HasSubstr("Bivista HAL Ready."));
    EXPECT_FALSE(hasTemporary());
}

TEST_F(PlayStatusTest, ASignalLeavesNothing) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        Process player(command({write("  - pause: 100s\n")}));
        awaitProcess(bin(e2e::kService));
        await([&] { return hasTemporary(); });
        player.kill(number);
        EXPECT_EQ(player.wait(), 128 + number);
        EXPECT_FALSE(hasTemporary());
        EXPECT_THAT(processes(), IsEmpty());
        EXPECT_EQ(player.err(), "");
    }
}

TEST_F(PlayStatusTest, AnIgnoredSignalEndsNothing) {
    std::vector<std::string> words = {"/bin/sh", "-c", "trap '' HUP; exec \"$@\"", "sh"};
    for (const std::string& word : command({write("  - pause: 100s\n")})) words.push_back(word);
    Process player(words);
    awaitProcess(bin(e2e::kService));
    player.kill(SIGHUP);
    player.kill(SIGTERM);
    EXPECT_EQ(player.wait(), 128 + SIGTERM);
}

TEST_F(PlayStatusTest, AKillLeavesNoProcess) {
    Process player(command({write("  - run: bivistactl watch lpwg\n")}));
    awaitProcess(bin("bivistactl") + " watch");
    player.kill(SIGKILL);
    EXPECT_EQ(player.wait(), 128 + SIGKILL);
    await([&] { return processes().empty(); });
    // Its folder is removed by the next one, that of a player which still plays is not.
    Process playing(command({write("  - pause: 100s\n")}));
    awaitProcess(bin(e2e::kService));
    EXPECT_EQ(play({write("  - wait: attached\n", "next")}).status, 0);
    EXPECT_EQ(std::distance(fs::directory_iterator(temporary), {}), 1);
    playing.kill(SIGINT);
    EXPECT_EQ(playing.wait(), 128 + SIGINT);
    EXPECT_FALSE(hasTemporary());
}

TEST_F(PlayStatusTest, AStoppedServiceIsEndedToo) {
    Process player(command({write("  - do: signal STOP\n  - pause: 100s\n")}));
    const pid_t service = awaitProcess(bin(e2e::kService));
    const std::string state = "/proc/" + std::to_string(service) + "/stat";
    await([&] { return run({"cat", state}).out.find(") T ") != std::string::npos; });
    player.kill(SIGINT);
    EXPECT_EQ(player.wait(), 128 + SIGINT);
    EXPECT_THAT(processes(), IsEmpty());
}

TEST_F(PlayStatusTest, APhoneThatRunsIsLeftAlone) {
    startPhone();
    const Outcome outcome = play({write("  - wait: attached\n  - do: detach\n")});
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_TRUE(isCoverReady());
}

}  // namespace
}  // namespace play_test
