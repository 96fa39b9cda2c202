// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The commands of the cover's touch panel, its gestures and its pen.

#include <fcntl.h>
#include <gmock/gmock.h>

#include <sys/stat.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <ostream>
#include <string>
#include <vector>

#include "tests/tools/SettingTest.h"
#include "tests/tools/Terminal.h"

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;
using Json = nlohmann::ordered_json;

namespace {

constexpr const char* kNoAnswer = "it does not answer, or it rejected the command";

const Setting kSettings[] = {
        {"Pen1", {"pen", "aes", "1"}, "manageAesMode", "[1]", kNoAnswer},
        {"Pen2", {"pen", "aes", "0x2"}, "manageAesMode", "[2]", kNoAnswer},
        {"PenOfTheCover1", {"pen", "aes", "1", "--cover-only"}, "setAesMode", "[1]", kNoAnswer},
        {"PenOfTheCover2", {"pen", "aes", "--cover-only", "2"}, "setAesMode", "[2]", kNoAnswer},
        {"Lpwg", {"lpwg", "status", "1", "0"}, "setStatus", "[1,0]", kNoAnswer},
        {"LpwgLeastAndMost",
         {"lpwg", "status", "-2147483648", "0x7fffffff"},
         "setStatus",
         "[-2147483648,2147483647]",
         kNoAnswer},
        {"TouchRawdata",
         {"touch", "rawdata"},
         "DoRawdata",
         "[]",
         kNoAnswer,
         "bivistactl: the frame is in the service's log, after \"DoRawdata:\"\n"},
        {"TouchDelta",
         {"touch", "delta"},
         "DoDelta",
         "[]",
         kNoAnswer,
         "bivistactl: the frame is in the service's log, after \"DoDelta:\"\n"},
        {"TouchReset", {"touch", "reset"}, "DoTouchReset", "[]", kNoAnswer},
        {"TouchResults",
         {"touch", "results"},
         "getTestResults",
         "[]",
         "the phone's file for the results cannot be opened",
         "bivistactl: appended to /data/vendor/touch/touch_module_self_test.txt on the phone\n"},
        {"TouchUpgrade", {"touch", "upgrade"}, "DoTouchFirmwareUpgrade", "[]", kNoAnswer},
        {"TouchPerfOn", {"touch", "perf", "on"}, "set_touch_perf", "[true]", kNoAnswer},
        {"TouchPerfOff", {"touch", "perf", "off"}, "set_touch_perf", "[false]", kNoAnswer},
};

struct Query {
    const char* word;
    const char* method;
};

void PrintTo(const Query& query, std::ostream* out) {
    *out << query.word;
}

const Query kQueries[] = {
        {"fwver", "getTouchFirmwareVersion"},
        {"gpio", "getGpiopin"},
        {"selftest", "getSelfTest"},
        {"lpwg-selftest", "getLPWGSelfTest"},
};

class QueryTest : public CliTest, public testing::WithParamInterface<Query> {
  protected:
    Result ask() { return run({"touch", GetParam().word}); }
};

class CoverTest : public CliTest {};

// The service holds an answer back until it is let go.
class WaitingTest : public CliTest {
  protected:
    void givenServiceThatHolds(const char* method) {
        ASSERT_EQ(0, mkfifo(gate().c_str(), 0600));
        givenService({"--hold-in", method, gate()});
    }
    // Lets one call go, when one is held for the first time or was.
    void letGo() { std::ofstream(gate()) << "x"; }

  private:
    std::string gate() const { return mFolder + "/gate"; }
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Cover, SettingTest, testing::ValuesIn(kSettings), nameOf);

TEST_P(QueryTest, PrintsTheAnswerAsItIs) {
    givenService({"--text", hex("one\n\ttwo \x1b\xff")});
    Result result = ask();
    EXPECT_EQ(0, result.code);
    EXPECT_EQ("one\n\ttwo \x1b\xff\n", result.output);
    EXPECT_EQ("", result.errors);
    EXPECT_EQ(Json({{"method", GetParam().method}, {"args", Json::array()}}), nextCall());
}

TEST_P(QueryTest, OnATerminalControlCharactersAreSpelled) {
    givenService({"--text", hex("one\n\ttwo \x1b\xff")});
    EXPECT_EQ("one\n<HT>two <ESC><0xff>\n", runOnTerminal({"touch", GetParam().word}).output);
}

TEST_P(QueryTest, ALongAnswerIsPrintedWhole) {
    std::string frame;
    for (int i = 0; frame.size() < 40960; ++i) frame += std::to_string(i) + (i % 8 ? " " : "\n");
    givenService({"--text", hex(frame)});
    EXPECT_EQ(frame + "\n", ask().output);
}

TEST_P(QueryTest, AnEmptyAnswerPrintsNothing) {
    givenService({"--text", ""});
    Result result = ask();
    EXPECT_EQ(0, result.code);
    EXPECT_EQ("", result.output);
}

TEST_P(QueryTest, WhatCameBeforeAFailureIsPrinted) {
    givenService({"--fail", "--text", hex("half a ")});
    Result result = ask();
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("half a \n", result.output);
    EXPECT_THAT(result.errors, StartsWith("bivistactl: FAIL: no cover is attached"));
    EXPECT_THAT(result.errors, HasSubstr("log"));
}

TEST_P(QueryTest, AServiceThatDiesInTheCallEndsWithThree) {
    givenService({"--exit-in", GetParam().method});
    Result result = ask();
    EXPECT_EQ(3, result.code);
    EXPECT_THAT(result.errors, HasSubstr("the service died during the call"));
}

TEST_P(QueryTest, WithoutAServiceItEndsWithThree) {
    EXPECT_EQ(3, ask().code);
}

INSTANTIATE_TEST_SUITE_P(All, QueryTest, testing::ValuesIn(kQueries),
                         [](const auto& info) { return std::string(info.param.method); });

TEST_F(CoverTest, WrongArgumentsAreRefusedBeforeAnyServiceIsAsked) {
    const Mistake mistakes[] = {
            {{"pen"}, "a command is missing after \"bivistactl pen\": "},
            {{"pen", "ink", "1"}, "there is no command \"ink\""},
            {{"pen", "aes"}, "MODE is required"},
            {{"pen", "aes", "0"}, "MODE: \"0\" is neither 1 nor 2"},
            {{"pen", "aes", "3"}, "MODE: \"3\" is neither 1 nor 2"},
            {{"pen", "aes", "-1"}, "MODE: \"-1\" is not an integer from 0"},
            {{"pen", "aes", "both"}, "MODE: \"both\" is not an integer"},
            {{"pen", "aes", "1", "2"}, "not expected: 2"},
            {{"lpwg"}, "a command is missing after \"bivistactl lpwg\": "},
            {{"lpwg", "status"}, "TYPE is required"},
            {{"lpwg", "status", "1"}, "VALUE is required"},
            {{"lpwg", "status", "2147483648", "0"}, "TYPE: \"2147483648\" is not an integer"},
            {{"lpwg", "status", "0", "-2147483649"}, "VALUE: \"-2147483649\" is not an integer"},
            {{"lpwg", "status", "0", ""}, "VALUE: \"\" is not an integer"},
            {{"lpwg", "status", "1", "2", "3"}, "not expected: 3"},
            {{"touch"}, "a command is missing after \"bivistactl touch\": "},
            {{"touch", "version"}, "there is no command \"version\""},
            {{"touch", "fwver", "1"}, "not expected: 1"},
            {{"touch", "reset", "--brew"}, "there is no option \"--brew\""},
            {{"touch", "reset", "now"}, "not expected: now"},
            {{"touch", "perf"}, "STATE is required"},
            {{"touch", "perf", "true"}, "STATE: \"true\" is neither on nor off"},
    };
    for (const Mistake& mistake : mistakes) expectWrongUsage(mistake);
}

TEST_F(CoverTest, AServiceOfVersion1_0KnowsNoPenAndNoPerformance) {
    givenService({"--v1_0"});
    for (const auto& words :
         std::vector<std::vector<std::string>>{{"pen", "aes", "1"},
                                               {"pen", "aes", "1", "--cover-only"},
                                               {"touch", "perf", "on"}}) {
        Result result = run(words);
        EXPECT_EQ(3, result.code);
        EXPECT_THAT(result.errors, HasSubstr("serves only version 1.0"));
    }
}

TEST_F(CoverTest, AnAnswerThatCannotBeWrittenEndsWithFour) {
    givenService();
    int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(4, run({"touch", "fwver"}, full).code);
    close(full);
}

TEST_F(WaitingTest, ATerminalShowsThatTheProgramIsAliveAndAPipeDoesNot) {
    givenServiceThatHolds("getSelfTest");
    // The first waits at least as long as the second, which is served after it.
    auto silent = start({"touch", "selftest"});
    nextCall();
    Terminal terminal;
    auto shown = startWithErrors(terminal.path(), {"touch", "selftest"});
    terminal.closeWriter();
    EXPECT_THAT(terminal.readUntil(" s"), MatchesRegex("\r[-|/\\] waiting for the answer, .* s"));
    while (terminal.readUntil(" s").ends_with(", 0 s")) continue;
    letGo();
    letGo();

    EXPECT_THAT(terminal.rest(), MatchesRegex(".*\r +\r"));
    EXPECT_EQ("text\n", shown->rest());
    EXPECT_EQ(0, shown->wait());
    EXPECT_EQ("text\n", silent->rest());
    EXPECT_EQ(0, silent->wait());
    EXPECT_EQ("", errors());
}

TEST_F(WaitingTest, TheLineIsErasedBeforeAFailureIsTold) {
    givenServiceThatHolds("DoTouchFirmwareUpgrade");
    Terminal terminal;
    auto shown = startWithErrors(terminal.path(), {"touch", "upgrade"});
    terminal.closeWriter();
    terminal.readUntil(" s");
    nextCall();
    killService();
    EXPECT_THAT(terminal.rest(), HasSubstr(" \rbivistactl: the service died during the call"));
    EXPECT_EQ(3, shown->wait());
}

TEST_F(WaitingTest, EveryCommandThatWaitsForTheCoverShowsIt) {
    givenServiceThatHolds("getGpiopin");
    auto holder = start({"touch", "gpio"});
    nextCall();
    // Served after the one that is held.
    for (const auto& words : std::vector<std::vector<std::string>>{{"pen", "aes", "1"},
                                                                   {"lpwg", "status", "1", "2"},
                                                                   {"touch", "perf", "on"},
                                                                   {"touch", "results"},
                                                                   {"touch", "rawdata"},
                                                                   {"firmware", "version"},
                                                                   {"firmware", "check"},
                                                                   {"firmware", "dload"},
                                                                   {"cutout"},
                                                                   {"sub", "info"},
                                                                   {"sub", "state"},
                                                                   {"sub", "clear"}}) {
        Terminal terminal;
        auto shown = startWithErrors(terminal.path(), words);
        terminal.closeWriter();
        EXPECT_THAT(terminal.readUntil(" s"), HasSubstr("waiting for the answer"))
                << testing::PrintToString(words);
    }
    letGo();
    EXPECT_EQ(0, holder->wait());
}
