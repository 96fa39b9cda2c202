// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// "play --running": on the phone and the service that are there.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <thread>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "tests/play/PlayTest.h"

namespace play_test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class PlayRunningTest : public PlayTest {
  protected:
    // The phone with a service whose log is a file; its path.
    std::string startLoggedPhone() {
        const std::string log = folder + "/service.log";
        startPhone({}, {"/bin/sh", "-c", "exec \"$0\" 2>\"$1\"", bin(e2e::kService), log});
        return log;
    }
    // The failure, with the file's name alone.
    std::string came(const Outcome& outcome) const {
        const std::string text = failureIn(outcome.out);
        const size_t at = text.find("  came:     ");
        return at == std::string::npos ? text : text.substr(at + strlen("  came:     "));
    }
};

TEST_F(PlayRunningTest, PlaysOnThePhoneThatRuns) {
    const std::string log = startLoggedPhone();
    const std::string file =
            write("  - wait: attached\n"
                  "  - call: setPowerStatus\n    with: [true, false]\n    gives: OK\n"
                  "  - expect:\n      - at: AT%BV=1\n      - node: {bv2_pd: 1 0}\n"
                  "      - log: {D: {contains: AT%BV=1}}\n",
                  "s", "start:\n  properties: {a.b: c}\n  do:\n    - mark started\n");
    const Outcome outcome = play({"--running", "--log", log, file});
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    EXPECT_EQ(run({bin("bivista-emulator"), "ctl", "property"}).out, "a.b: c\n");
    EXPECT_TRUE(phone->isRunning());
    // The screen stays on: nothing is put back, and what was there before is not the scenario's.
    const std::string again =
            write("  - never:\n      - at: AT%BV=1\n      - log: {any: {matches: .*}}\n");
    EXPECT_EQ(play({"--running", "--log", log, again}).status, 0);
}

TEST_F(PlayRunningTest, ALogIsNeededForItsLines) {
    for (const char* steps :
         {"  - expect:\n      - log: {D: x}\n", "  - never:\n      - log: {D: x}\n"}) {
        const std::string file = write(steps);
        const Outcome outcome = play({"--running", file});
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, StartsWith("bivista-emulator: " + file + ":5:9: "));
        EXPECT_THAT(outcome.err,
                    EndsWith(": it reads the log of a service that runs: name that with --log\n"));
    }
}

TEST_F(PlayRunningTest, ThreeWithoutAPhone) {
    const Outcome outcome = play({"--running", write("  - pause: 1ms\n")});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(came(outcome), StartsWith("no emulator answers on " + folder +
                                          "/registry/emulator.sock: start one with "
                                          "\"bivista-emulator run\""));
}

TEST_F(PlayRunningTest, ThreeWhereAnotherProgramAnswers) {
    const std::string path = folder + "/registry/emulator.sock";
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {AF_UNIX, {}};
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(listen(listener, 8), 0);
    Process player(command({"--running", write("  - pause: 1ms\n")}));
    const int connection = accept(listener, nullptr, nullptr);
    char request[4096];
    EXPECT_GT(read(connection, request, sizeof(request)), 0);
    const std::string answer = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n[]";
    EXPECT_EQ(::write(connection, answer.data(), answer.size()), ssize_t(answer.size()));
    const Outcome outcome = player.outcome();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(came(outcome), "what answers in " + folder +
                                     "/registry is no emulator\n"
                                     "1 scenario: 0 ok, 0 failed, 1 without a service\n");
    close(connection);
    close(listener);
}

TEST_F(PlayRunningTest, OneWhenThePhoneEnds) {
    startPhone();
    const std::string file = write("  - do: mark played\n  - pause: 100s\n");
    Process player(command({"--running", file}));
    await([&] { return journal().find("played") != std::string::npos; });
    phone->kill(SIGTERM);
    EXPECT_EQ(player.wait(), 1);
    EXPECT_THAT(player.out(), HasSubstr("  came:     no emulator answers on "));
}

}  // namespace
}  // namespace play_test
