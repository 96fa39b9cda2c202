// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A session's callbacks, its service's death and return, and its own end.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "tests/tools/session/Talk.h"

using testing::HasSubstr;

namespace {

class SessionLifeTest : public TalkTest {
  protected:
    // The session has asked for nothing before this.
    Json nextArguments(const std::string& method) {
        const Json call = nextCall();
        EXPECT_EQ(method, call["method"]);
        return call["args"];
    }

    // Subscribes, and returns the next notifications: the first may come before the answer.
    std::vector<Json> subscribed(const std::string& params, size_t count) const {
        request(7, "subscribe", params);
        std::vector<Json> notifications;
        bool isAnswered = false;
        while (!isAnswered || notifications.size() < count) {
            const Json message = heard();
            if (message.contains("id")) {
                EXPECT_TRUE(message.contains("result")) << message;
                isAnswered = true;
            } else {
                notifications.push_back(message);
            }
        }
        return notifications;
    }
};

}  // namespace

TEST_F(SessionLifeTest, RegistersNoCallbackBeforeItIsAsked) {
    givenService();
    startSession();
    ask("session");
    ask("sendAtCommand", R"(["AT"])");
    EXPECT_EQ(R"(["AT",null])", nextArguments("sendAtCommand").dump());
}

TEST_F(SessionLifeTest, PassesTouchAndPenEventsOn) {
    givenService();
    startSession();
    const std::vector<Json> events = subscribed(R"(["lpwg"])", 5);
    EXPECT_EQ(R"({"jsonrpc":"2.0","method":"lpwg","params":{"version":"1.1","status":-1,)"
              R"("name":"UNKNOWN","result":-1}})",
              events.at(0).dump());
    EXPECT_EQ(R"({"version":"1.1","status":0,"name":"WAKEUP","result":0})",
              events.at(1)["params"].dump());
    EXPECT_EQ(R"({"version":"1.1","status":99,"name":null,"result":0})",
              events.at(4)["params"].dump());
    EXPECT_EQ(Json::array({"lpwg"}), ask("session")["subscriptions"]);
}

TEST_F(SessionLifeTest, PassesThemOnOfVersion1_0) {
    givenService();
    startSession();
    const std::vector<Json> events = subscribed(R"({"callback":"lpwg","version":"1.0"})", 5);
    EXPECT_EQ("1.0", events.at(0)["params"]["version"]);
}

TEST_F(SessionLifeTest, PassesStatesOfTheSubDisplayOn) {
    givenService();
    startSession();
    const std::vector<Json> states = subscribed(R"(["subDisplay"])", 5);
    EXPECT_EQ(R"({"jsonrpc":"2.0","method":"subDisplay","params":{"state":"INITIALIZED",)"
              R"("code":1}})",
              states.at(0).dump());
    EXPECT_EQ(R"({"state":"ON","code":3})", states.at(1)["params"].dump());
    EXPECT_EQ(R"({"state":null,"code":9})", states.at(4)["params"].dump());
}

// In their order, before the answer.
TEST_F(SessionLifeTest, PassesLinesOfAnAnswerOn) {
    givenService({"--lines", hex("one\n\xff\n")});
    startSession();
    ask("subscribe", R"(["at"])");
    request(1, "sendAtCommand", R"(["AT%SWV",null])");
    EXPECT_EQ(R"({"method":"at","params":{"line":"one\n"}})", told());
    EXPECT_THAT(session->line(), HasSubstr(R"("line":"\udcff\n")"));
    EXPECT_EQ(R"({"id":1,"result":{"method":"sendAtCommand","status":"OK","value":"text"}})",
              told());
    EXPECT_EQ(R"(["AT%SWV","callback"])", nextArguments("sendAtCommand").dump());
    ask("unsubscribe", R"(["at"])");
    ask("sendAtCommand", R"(["AT"])");
    EXPECT_EQ(R"(["AT",null])", nextArguments("sendAtCommand").dump());
}

// To clear a callback would stop the service, or take another client's.
TEST_F(SessionLifeTest, UnsubscribingAndEndingClearNothing) {
    givenService();
    startSession();
    for (const std::string name : {"lpwg", "subDisplay"}) {
        subscribed("[\"" + name + "\"]", 5);
        EXPECT_EQ(R"(["callback"])", nextCall()["args"].dump());
        EXPECT_EQ("events sent", nextCall()["method"]);
        EXPECT_EQ(R"({"subscriptions":[]})", ask("unsubscribe", "[\"" + name + "\"]").dump());
    }
    session->endInput();
    EXPECT_EQ(0, session->wait());
    EXPECT_EQ(0, run({"call", "getBV2Connect"}).code);
    nextArguments("getBV2Connect");
}

TEST_F(SessionLifeTest, TellsThatAnotherClientHasTakenACallback) {
    givenService();
    startSession();
    for (const std::string name : {"lpwg", "subDisplay"}) {
        subscribed("[\"" + name + "\"]", 5);
        auto other = start({"session"});
        other->send(R"({"jsonrpc":"2.0","id":1,"method":"subscribe","params":[")" + name +
                    "\"]}\n");
        EXPECT_EQ(R"({"method":"callbackLost","params":{"callback":")" + name + "\"}}", told());
        EXPECT_EQ(Json::array(), ask("session")["subscriptions"]);
        EXPECT_NE("", other->line());
    }
}

// Its own callback before is no loss.
TEST_F(SessionLifeTest, SubscribingAgainIsNoLoss) {
    givenService();
    startSession();
    for (int i = 0; i < 2; ++i) {
        subscribed(R"(["subDisplay"])", 5);
        EXPECT_EQ("setSubDisplayCallback", nextCall()["method"]);
        EXPECT_EQ("events sent", nextCall()["method"]);
    }
    session->endInput();
    EXPECT_EQ(0, session->wait());
    EXPECT_EQ(std::string::npos, session->out().find("callbackLost"));
}

TEST_F(SessionLifeTest, WithoutAServiceEachRequestHasOneError) {
    startSession();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(-32000, errorOf("getBV2Connect"));
        EXPECT_EQ(-32000, errorOf("subscribe", R"(["lpwg"])"));
        EXPECT_EQ(-32000, errorOf("dump"));
        EXPECT_EQ(-32601, errorOf("nothing"));
    }
    givenService();
    EXPECT_EQ(R"({"method":"serviceReturned","params":{}})", told());
    EXPECT_EQ(0, errorOf("getBV2Connect"));
}

TEST_F(SessionLifeTest, TellsOfDeathAndReturnOnceEach) {
    givenService();
    startSession();
    ask("subscribe", R"(["at"])");
    for (int i = 0; i < 3; ++i) {
        killService();
        EXPECT_EQ(R"({"method":"serviceDied","params":{}})", told());
        EXPECT_EQ(-32000, errorOf("getBV2Connect"));
        EXPECT_EQ(Json::array(), ask("session")["subscriptions"]);
        givenService();
        EXPECT_EQ(R"({"method":"serviceReturned","params":{}})", told());
        EXPECT_EQ(0, errorOf("getBV2Connect"));
    }
}

TEST_F(SessionLifeTest, ACallbackThatDiedWithTheServiceIsNotLostToAnotherClient) {
    givenService();
    startSession();
    EXPECT_EQ(5u, subscribed(R"(["lpwg"])", 5).size());
    killService();
    EXPECT_EQ(R"({"method":"serviceDied","params":{}})", told());
    EXPECT_EQ(Json::array(), ask("session")["subscriptions"]);
}

TEST_F(SessionLifeTest, AServiceThatDiesInACallIsAnErrorAndANotification) {
    givenService({"--exit-in", "goDload"});
    startSession();
    request(1, "goDload");
    std::set<std::string> told;
    for (int i = 0; i < 2; ++i) {
        const Json message = heard();
        told.insert(message.contains("id") ? message["error"]["code"].dump()
                                           : message["method"].dump());
    }
    EXPECT_EQ((std::set<std::string>{"-32001", "\"serviceDied\""}), told);
    EXPECT_EQ(-32000, errorOf("goDload"));
}

TEST_F(SessionLifeTest, TheEndOfTheInputEndsItAfterTheCallUnderWay) {
    const std::string pipe = givenPipe();
    givenService({"--hold-in", "getSelfTest", pipe});
    startSession();
    request(1, "getSelfTest");
    session->endInput();
    EXPECT_EQ("getSelfTest", nextCall()["method"]);
    EXPECT_TRUE(session->isRunning());
    release(pipe);
    EXPECT_EQ(R"({"id":1,"result":{"method":"getSelfTest","status":"OK","value":"text"}})", told());
    EXPECT_EQ(0, session->wait());
}

TEST_F(SessionLifeTest, SignalsEndItAlsoInACall) {
    const std::string pipe = givenPipe();
    givenService({"--hold-in", "getSelfTest", pipe});
    for (const int number : {SIGINT, SIGTERM}) {
        startSession();
        request(1, "setBrightness", "[1]");
        request(2, "getSelfTest");
        EXPECT_EQ(1, heard()["id"]);
        EXPECT_EQ("setBrightness", nextCall()["method"]);
        EXPECT_EQ("getSelfTest", nextCall()["method"]);
        session->kill(number);
        EXPECT_EQ(0, session->wait());
        EXPECT_EQ("", errors());
        // The service serves the next client once its call is over.
        release(pipe);
        EXPECT_EQ(0, run({"call", "getBV2Connect"}).code);
        EXPECT_EQ("getBV2Connect", nextCall()["method"]);
    }
}

TEST_F(SessionLifeTest, AReaderThatGoesAwayEndsItWithFourAlsoInACall) {
    const std::string pipe = givenPipe();
    givenService({"--hold-in", "getSelfTest", pipe});
    int output[2];
    ASSERT_EQ(0, pipe2(output, O_CLOEXEC));
    session = start({"session"}, output[1]);
    close(output[1]);
    request(2, "getSelfTest");
    EXPECT_EQ("getSelfTest", nextCall()["method"]);
    close(output[0]);
    EXPECT_EQ(4, session->wait());
    EXPECT_EQ("bivistactl: cannot write to standard output: Broken pipe\n", errors());
    release(pipe);
    EXPECT_EQ(0, run({"call", "getBV2Connect"}).code);
}

TEST_F(SessionLifeTest, AnInputThatCannotBeReadEndsItWithFour) {
    givenService();
    session = std::make_unique<Process>(
            std::vector<std::string>{"/bin/sh", "-c", std::string(BIVISTACTL) + " session <&-"});
    EXPECT_EQ(4, session->wait());
    EXPECT_EQ("bivistactl: cannot read standard input: Bad file descriptor\n", session->err());
}

// The service waits for its callbacks, so a session that is not read must not keep it waiting.
TEST_F(SessionLifeTest, ASessionThatIsNotReadHoldsNobodyUp) {
    const std::string line(1 << 14, 'a');
    givenService({"--lines", hex(line + "\n" + line + "\n")});
    startSession();
    EXPECT_EQ(1u, ask("subscribe", R"(["at"])")["subscriptions"].size());
    // Far more than the pipe and the session hold: these calls stop where their answers wait.
    std::string requests;
    for (int i = 0; i < 100; ++i) {
        requests += R"({"jsonrpc":"2.0","method":"sendAtCommand","params":["AT"]})"
                    "\n";
    }
    say(requests);
    for (int i = 0; i < 100; ++i) nextArguments("sendAtCommand");
    EXPECT_EQ(0, run({"call", "getBV2Connect"}).code);
    nextArguments("getBV2Connect");
    // What it could not keep is counted.
    request(1, "getBV2Connect");
    size_t lines = 0;
    size_t lost = 0;
    for (Json message = heard(); !message.contains("id"); message = heard()) {
        if (message["method"] == "at") ++lines;
        if (message["method"] == "eventsLost") lost += message["params"]["count"].get<size_t>();
    }
    EXPECT_LT(0u, lost);
    EXPECT_EQ(200u, lines + lost);
}
