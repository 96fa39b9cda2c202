// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl wait: which states end it, and what it says when its time is over.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/tools/Cli.h"

using testing::AllOf;
using testing::AnyOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

using Words = std::vector<std::string>;

// The members of the service's dump that a wait looks at.
struct State {
    bool serial = false;
    bool display = false;
    bool log = false;
    bool screen = false;
    bool panel = false;
    std::string path = "";
};
constexpr bool kYes = true;
const State kAttached = {kYes, kYes, kYes, false, kYes, "/dev/x"};
const State kLit = {kYes, kYes, kYes, kYes, kYes, "/dev/x"};

std::string dumpOf(const State& state) {
    const nlohmann::ordered_json dump = {
            {"serial", {{"attached", state.serial}, {"path", state.path}, {"logAsked", state.log}}},
            {"display", {{"initialized", state.display}, {"screenOn", state.screen}}},
            {"subDisplay", {{"attached", state.panel}, {"path", state.path}}}};
    return dump.dump();
}

class WaitTest : public CliTest {
  protected:
    // One state after the other, a dump each; the last one stays.
    void givenStates(const std::vector<State>& states, Words options = {}) {
        std::string texts;
        for (const State& state : states) texts += (texts.empty() ? "" : ",") + hex(dumpOf(state));
        options.insert(options.end(), {"--text-in", "debug", texts});
        givenService(options);
    }
    Result wait(Words words) {
        words.insert(words.begin(), "wait");
        return run(words);
    }
    void expectMet(const Words& words) {
        const Result result = wait(words);
        EXPECT_EQ(0, result.code) << testing::PrintToString(words) << result.errors;
        EXPECT_EQ("", result.output + result.errors);
    }
    // Looks once.
    void expectNotMet(Words words, const std::string& wanted, const std::string& last) {
        words.insert(words.end(), {"--timeout", "0"});
        const Result result = wait(words);
        EXPECT_EQ(1, result.code) << testing::PrintToString(words);
        EXPECT_EQ("", result.output);
        EXPECT_EQ("bivistactl: not so within 0 s: " + wanted + ". The last state: " + last + "\n",
                  result.errors);
    }
    std::string givenFifo() const {
        std::string fifo = mFolder + "/hold";
        EXPECT_EQ(mkfifo(fifo.c_str(), 0600), 0);
        return fifo;
    }
    // The methods that the service was asked for so far.
    Words asked(size_t count) {
        Words methods;
        while (methods.size() < count) methods.push_back(nextCall()["method"]);
        return methods;
    }
};

}  // namespace

TEST_F(WaitTest, ACoverIsAttachedWhenEveryStepIsDone) {
    givenStates(
            {{}, {.serial = true, .path = "/dev/x"}, {.serial = true, .display = true}, kAttached},
            {"--flag"});
    expectMet({"attached"});
}

TEST_F(WaitTest, ACoverThatIsNotOnTheBusIsNotAttached) {
    givenStates({kAttached});
    expectNotMet({"attached"}, "attached", "neither attached nor detached, screen=off, sub=ON");
}

TEST_F(WaitTest, EachStepOfAnAttachCounts) {
    for (bool State::*step : {&State::serial, &State::display, &State::log}) {
        State state = kAttached;
        state.*step = false;
        givenStates({state}, {"--flag"});
        expectNotMet({"attached"}, "attached", "neither attached nor detached, screen=off, sub=ON");
    }
}

TEST_F(WaitTest, ACoverIsDetachedWhenNothingOfItIsLeft) {
    givenStates({kAttached, {.log = true, .path = "/dev/x"}, {.path = "/dev/x"}, {}});
    expectMet({"detached"});
}

TEST_F(WaitTest, WhatIsLeftOfACoverIsNotDetached) {
    for (bool State::*left : {&State::serial, &State::display, &State::log, &State::panel}) {
        State state;
        state.*left = true;
        givenStates({state});
        expectNotMet({"detached"}, "detached", "neither attached nor detached, screen=off, sub=ON");
    }
    // On the bus again.
    givenStates({{}}, {"--flag"});
    expectNotMet({"detached"}, "detached", "neither attached nor detached, screen=off, sub=ON");
}

TEST_F(WaitTest, AllConditionsHoldAtOneTime) {
    givenStates({kAttached, kAttached, kLit}, {"--flag"});
    expectMet({"screen=on", "attached", "sub=ON"});
    expectNotMet({"attached", "sub=OFF", "screen=on"}, "attached, sub=OFF, screen=on",
                 "attached, screen=on, sub=ON");
    expectNotMet({"screen=off"}, "screen=off", "attached, screen=on, sub=ON");
}

TEST_F(WaitTest, FirmwareIsAskedForOnlyOfAnAttachedCoverAndWhenAllElseHolds) {
    givenStates({{}, kAttached, kLit}, {"--flag", "--text-in", "getFirmwareVersion", hex("V1")});
    expectMet({"screen=on", "firmware=V1"});
    const Words look = {"getBV2Connect", "getSubDisplayPowerState", "debug"};
    for (int i = 0; i < 3; ++i) EXPECT_EQ(look, asked(3));
    EXPECT_EQ(Words{"getFirmwareVersion"}, asked(1));
    EXPECT_EQ(look, asked(3));
}

TEST_F(WaitTest, FirmwareIsAskedForRarely) {
    givenStates({kAttached}, {"--flag", "--text-in", "getFirmwareVersion",
                              hex("V1") + "," + hex("V2") + "," + hex("V3")});
    const Result result = wait({"firmware=V2", "--json", "--timeout", "3600"});
    EXPECT_EQ(0, result.code) << result.errors;
    // A rest lies between the two questions.
    EXPECT_GE(nlohmann::json::parse(result.output)["seconds"], 1.0);
    expectNotMet({"firmware=V1"}, "firmware=V1", "attached, screen=off, sub=ON, firmware=V3");
}

TEST_F(WaitTest, AnotherCoverIsAskedAtOnce) {
    givenStates({kAttached, kAttached, {}, kAttached},
                {"--flag", "--text-in", "getFirmwareVersion", hex("V1") + "," + hex("V2")});
    const Result result = wait({"firmware=V2", "--timeout", "3600"});
    EXPECT_EQ(0, result.code) << result.errors;
    Words methods = asked(14);
    std::erase_if(methods, [](const std::string& method) { return method.ends_with("State"); });
    std::erase(methods, "getBV2Connect");
    EXPECT_EQ(
            (Words{"debug", "getFirmwareVersion", "debug", "debug", "debug", "getFirmwareVersion"}),
            Words(methods.begin(), methods.begin() + 6));
}

TEST_F(WaitTest, ACoverThatDoesNotAnswerHasNoFirmware) {
    givenStates({kAttached}, {"--flag", "--fail-in", "getFirmwareVersion"});
    expectNotMet({"firmware=V1"}, "firmware=V1", "attached, screen=off, sub=ON, firmware=unknown");
}

TEST_F(WaitTest, WithoutAServiceItEndsWithThree) {
    for (const char* timeout : {"0", "0.05"}) {
        const Result result = wait({"attached", "--timeout", timeout});
        EXPECT_EQ(3, result.code);
        EXPECT_EQ("", result.output);
        EXPECT_THAT(result.errors, StartsWith("bivistactl: no Bivista service answers in "));
    }
}

TEST_F(WaitTest, AServiceThatComesLaterIsWaitedFor) {
    const auto waiting = start({"wait", "attached", "--timeout", "3600"});
    givenStates({kAttached}, {"--flag"});
    EXPECT_EQ(0, waiting->wait());
}

TEST_F(WaitTest, AServiceThatDiesIsWaitedForAgain) {
    givenStates({{}}, {"--flag"});
    const auto waiting = start({"wait", "attached", "--timeout", "3600"});
    asked(6);
    killService();
    givenStates({kAttached}, {"--flag"});
    EXPECT_EQ(0, waiting->wait());
}

TEST_F(WaitTest, AServiceThatIsGoneAtTheEndIsThree) {
    givenService({"--exit-in", "debug"});
    const Result result = wait({"attached", "--timeout", "0.05"});
    EXPECT_EQ(3, result.code);
    EXPECT_THAT(result.errors, AnyOf(StartsWith("bivistactl: no Bivista service answers in "),
                                     // That was the only look.
                                     StartsWith("bivistactl: the service died during the call ")));
}

TEST_F(WaitTest, AServiceThatDoesNotAnswerEndsItAllTheSame) {
    givenStates({kAttached}, {"--flag", "--hold-in", "getFirmwareVersion", givenFifo()});
    Result result = wait({"firmware=V1", "--timeout", "0", "--patience-ms", "2000"});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ(
            "bivistactl: not so within 0 s: firmware=V1. The last state: attached, screen=off, "
            "sub=ON, firmware=unknown. The service does not answer: it is busy, or it hangs. "
            "\"bivistactl doctor\" tells more\n",
            result.errors);
    // Its one thread is held still: nothing was seen at all.
    result = wait({"attached", "--timeout", "0.01", "--patience-ms", "100", "--json"});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ(
            "bivistactl: not so within 0.01 s: attached. The service does not answer: it is "
            "busy, or it hangs. \"bivistactl doctor\" tells more\n",
            result.errors);
    EXPECT_THAT(result.output, MatchesRegex(R"(\{"met":false,"seconds":0\.[0-9]+,"state":null\})"
                                            "\n"));
}

TEST_F(WaitTest, WithoutADumpOnlyTheSubDisplayIsKnown) {
    givenService({"--flag", "--text-in", "debug", ""});
    expectMet({"sub=ON"});
    expectNotMet({"attached"}, "attached",
                 "attached=unknown, screen=unknown, sub=ON (the service has no debug dump)");
}

TEST_F(WaitTest, AsJsonItPrintsTheStateAlsoWhenTheTimeIsOver) {
    givenStates({kLit}, {"--flag", "--text-in", "getFirmwareVersion", hex("V\xff")});
    Result result = wait({"attached", "--json"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ("", result.errors);
    EXPECT_THAT(result.output,
                MatchesRegex(R"(\{"met":true,"seconds":[0-9.]+,"state":\{"cover":"attached",)"
                             R"("screen":"on","sub":"ON","firmware":null\}\})"
                             "\n"));
    result = wait({"firmware=V", "--timeout", "0", "--json"});
    EXPECT_EQ(1, result.code);
    EXPECT_THAT(result.errors, HasSubstr("not so within 0 s: firmware=V. "));
    EXPECT_THAT(result.output, AllOf(StartsWith(R"({"met":false,"seconds":)"),
                                     HasSubstr(R"("sub":"ON","firmware":"V\udcff"}})")));
    killService();
    result = wait({"detached", "--timeout", "0", "--json"});
    EXPECT_EQ(3, result.code);
    EXPECT_THAT(result.output, MatchesRegex(R"(\{"met":false,"seconds":[0-9.]+,"state":null\})"
                                            "\n"));
}

TEST_F(WaitTest, WrongConditionsAndTimesAreWrongUsage) {
    expectWrongUsage({{"wait"}, "CONDITION is required"});
    expectWrongUsage({{"wait", "atached"}, "\"atached\" is no condition: did you mean attached?"});
    expectWrongUsage({{"wait", "sub=on"}, "\"sub=on\" is no condition: did you mean sub=ON?"});
    expectWrongUsage({{"wait", "attached", "screen"}, "\"screen\" is no condition"});
    expectWrongUsage({{"wait", "firmware="}, "firmware= is without a version"});
    expectWrongUsage({{"wait", "attached", "detached"}, "detached does not go with attached"});
    expectWrongUsage({{"wait", "sub=ON", "sub=OFF"}, "sub=OFF does not go with sub=ON"});
    expectWrongUsage({{"wait", "firmware=V", "detached"}, "firmware=V does not go with detached"});
    for (const std::string time : {"-1", "x", "", ".", "1e3", "1.2.3", "86400.1", "inf"}) {
        expectWrongUsage({{"wait", "attached", "--timeout", time},
                          time + " is not a number of seconds from 0 to 86400"});
    }
}
