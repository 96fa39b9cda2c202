// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl watch --passive: what a follower of the history prints.
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <string>
#include <vector>

#include "tests/tools/Cli.h"

using testing::HasSubstr;

namespace {

std::string event(int number, const std::string& kind = "setting") {
    return R"({"number":)" + std::to_string(number) +
           R"(,"wallMicros":5,"monotonicMicros":6,"kind":")" + kind +
           R"(","what":"brightness","values":[1],"cause":null,"repeats":0})";
}

// A dump with the events of a service; its process is told by `start`.
std::string dump(int last, const std::string& events, const std::string& lpwg = "\"1.1\"",
                 int lost = 0, int start = 1) {
    return hex(R"({"service":{"pid":7,"startedWallMicros":)" + std::to_string(start) +
               R"(},"callbacks":{"lpwg":)" + lpwg + R"(},"history":{"first":1,"last":)" +
               std::to_string(last) + R"(,"lost":)" + std::to_string(lost) + R"(},"events":[)" +
               events + "]}");
}

std::string line(int number, const std::string& kind = "setting") {
    return R"({"event":"history",)" + event(number, kind).substr(1);
}

class PassiveWatchTest : public CliTest {
  protected:
    void given(const std::string& dumps) { givenService({"--text-in", "debug", dumps}); }
    std::unique_ptr<Process> follow(std::vector<std::string> words = {}) {
        words.insert(words.begin(), {"watch"});
        words.insert(words.end(), {"--passive", "--interval", "10"});
        return start(words);
    }
};

constexpr char kRegistered[] = R"({"event":"callback","lpwg":"1.1"})";

}  // namespace

TEST_F(PassiveWatchTest, PrintsWhatIsNewAndAsksForNothingElse) {
    given(dump(2, event(1) + "," + event(2)) + "," + dump(3, event(3)) + "," + dump(3, ""));
    auto watch = follow();
    EXPECT_EQ(kRegistered, watch->line());
    EXPECT_EQ(line(3), watch->line());
    EXPECT_THAT(errors(), HasSubstr("10 ms between two looks; no client loses its callback"));
    EXPECT_EQ(R"({"method":"debug","args":["--json","--since","0"]})", nextCall().dump());
    EXPECT_EQ(R"({"method":"debug","args":["--json","--since","2"]})", nextCall().dump());
    EXPECT_EQ(R"({"method":"debug","args":["--json","--since","3"]})", nextCall().dump());
    watch->kill(SIGINT);
    EXPECT_EQ(0, watch->wait());
}

TEST_F(PassiveWatchTest, BeginsWhereItIsTold) {
    given(dump(2, event(2)) + "," + dump(2, ""));
    auto watch = follow({"--since", "1"});
    EXPECT_EQ(line(2), watch->line());
    EXPECT_EQ(kRegistered, watch->line());
    EXPECT_EQ(R"({"method":"debug","args":["--json","--since","1"]})", nextCall().dump());
}

TEST_F(PassiveWatchTest, PrintsItsSubjectAlone) {
    given(dump(0, "") + "," + dump(2, event(1) + "," + event(2, "lpwgEvent")) + "," + dump(2, ""));
    auto watch = follow({"lpwg"});
    EXPECT_EQ(kRegistered, watch->line());
    EXPECT_EQ(line(2, "lpwgEvent"), watch->line());
}

TEST_F(PassiveWatchTest, TellsThatNobodyHasRegistered) {
    given(dump(0, "", "null") + "," + dump(0, "", "null") + "," + dump(0, ""));
    auto watch = follow();
    EXPECT_EQ(R"({"event":"callback","lpwg":null})", watch->line());
    EXPECT_EQ(kRegistered, watch->line());
    EXPECT_THAT(errors(), HasSubstr("no client has registered an LPWG callback"));
}

TEST_F(PassiveWatchTest, TellsOfEventsThatWereLost) {
    given(dump(0, "") + "," + dump(300, event(300), "\"1.1\"", 43) + "," + dump(300, ""));
    auto watch = follow();
    EXPECT_EQ(kRegistered, watch->line());
    EXPECT_EQ(R"({"event":"lost","count":43})", watch->line());
    EXPECT_EQ(line(300), watch->line());
}

TEST_F(PassiveWatchTest, TellsOfDeathAndReturn) {
    given(dump(5, ""));
    auto watch = follow();
    EXPECT_EQ(kRegistered, watch->line());
    killService();
    EXPECT_EQ(R"({"event":"service","state":"died"})", watch->line());
    given(dump(1, event(1), "null", 0, 2));
    EXPECT_EQ(R"({"event":"service","state":"started"})", watch->line());
    EXPECT_EQ(line(1), watch->line());
    EXPECT_EQ(R"({"event":"callback","lpwg":null})", watch->line());
}

TEST_F(PassiveWatchTest, NeedsAServiceWithAHistory) {
    EXPECT_EQ(3, run({"watch", "--passive"}).code);
    given(hex("{}"));
    const Result result = run({"watch", "--passive"});
    EXPECT_EQ(1, result.code);
    EXPECT_THAT(result.errors, HasSubstr("keeps no history"));
}

TEST_F(PassiveWatchTest, WrongOptionsAreWrongUsage) {
    expectWrongUsage({{"watch", "--passive", "--interval", "9"}, "--interval"});
    expectWrongUsage({{"watch", "--passive", "--since", "x"}, "x is no number of an event"});
    expectWrongUsage({{"watch", "lpwg", "--interval", "500"}, "--passive"});
}
