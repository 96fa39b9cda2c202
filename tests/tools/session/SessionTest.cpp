// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a session answers.
#include <gmock/gmock.h>
#include <signal.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/tools/session/Talk.h"

using testing::HasSubstr;

namespace {

using SessionTest = TalkTest;

// Right arguments for parameters of these types.
Json samplesFor(const Json& parameters) {
    Json samples = Json::array();
    for (const Json& parameter : parameters) {
        const std::string type = parameter["type"];
        if (type == "bool") samples.push_back(true);
        if (type == "string") samples.push_back("AT");
        if (type == "uint32[]") samples.push_back({1, 2});
        if (type == "null") samples.push_back(nullptr);
        if (type == "int32" || type == "uint32") samples.push_back(5);
    }
    return samples;
}

}  // namespace

// Whatever a method answers: the same as "bivistactl call".
TEST_F(SessionTest, EveryMethodAnswersAsItsCallDoes) {
    givenService();
    startSession();
    const Json methods = ask("methods");
    EXPECT_EQ(38u, methods.size());
    for (const Json& method : methods) {
        const std::string name = method["name"];
        const Json samples = samplesFor(method["parameters"]);
        std::vector<std::string> words = {"call", name};
        for (const Json& sample : samples) {
            const bool isWord = sample.is_string();
            words.push_back(isWord ? sample.get<std::string>()
                                   : (sample.is_array() ? "1,2" : sample.dump()));
        }
        const Json answer = ask(name, samples.dump());
        const Json called = nextCall();
        EXPECT_EQ(run(words).output, answer.dump() + "\n");
        EXPECT_EQ(called, nextCall());
        EXPECT_EQ(method["status"], answer.contains("status")) << name;
        EXPECT_EQ(method["value"].is_null(), !answer.contains("value")) << name;
    }
}

TEST_F(SessionTest, FailIsAResult) {
    givenService({"--fail"});
    startSession();
    EXPECT_EQ(R"({"method":"setBrightness","status":"FAIL"})", ask("setBrightness", "[1]").dump());
    EXPECT_EQ(R"({"method":"getGpiopin","status":"FAIL","value":"text"})",
              ask("getGpiopin").dump());
}

TEST_F(SessionTest, ParametersComeByName) {
    givenService();
    startSession();
    ask("setPowerStatus", R"({"uevent":false,"enable":true})");
    EXPECT_EQ(R"({"method":"setPowerStatus","args":[true,false]})", nextCall().dump());
    EXPECT_EQ(-32602, errorOf("setPowerStatus", R"({"enable":true})"));
    EXPECT_EQ(-32602, errorOf("setPowerStatus", R"({"enable":true,"uevent":false,"x":1})"));
    EXPECT_EQ(-32602, errorOf("setPowerStatus", "[true]"));
    EXPECT_EQ(-32602, errorOf("subscribe", R"(["touch"])"));
    EXPECT_EQ(-32602, errorOf("subscribe", R"(["at","1.0"])"));
    EXPECT_EQ(-32602, errorOf("subscribe", R"(["lpwg","2.0"])"));
    EXPECT_EQ(-32602, errorOf("unsubscribe", R"([1])"));
    EXPECT_EQ(-32602, errorOf("dump", R"(["--json"])"));
    EXPECT_EQ(-32602, errorOf("sendAtCommand", R"(["AT",1])"));
    EXPECT_EQ(-32601, errorOf("setpowerstatus"));
    EXPECT_EQ(-32601, errorOf("rpc.discover"));
    EXPECT_EQ("getBV2Connect", (ask("getBV2Connect"), nextCall())["method"]);
}

TEST_F(SessionTest, AFrameTravelsWhole) {
    givenService();
    startSession();
    const std::string frame = Json::array({std::vector<uint32_t>(200'000, 4294967295u)}).dump();
    EXPECT_EQ("OK", ask("drawSubDisplay", frame)["status"]);
    EXPECT_EQ(R"([{"words":200000}])", nextCall()["args"].dump());
    // With its frame a call has a few bytes more than the transport takes.
    const std::string most = Json::array({std::vector<uint32_t>(262'144)}).dump();
    EXPECT_EQ(-32002, errorOf("drawSubDisplay", most));
    EXPECT_EQ("OK", ask("setBrightness", "[1]")["status"]);
}

TEST_F(SessionTest, BytesThatAreNoTextComeEscaped) {
    givenService({"--text", hex("a\xff\xc3")});
    startSession();
    request(1, "getGpiopin");
    EXPECT_THAT(session->line(), HasSubstr(R"("value":"a\udcff\udcc3")"));
}

TEST_F(SessionTest, EachLineOfBadInputHasOneErrorAndTheSessionGoesOn) {
    givenService();
    startSession();
    const std::vector<std::pair<std::string, int>> lines = {
            {"nonsense", -32700},
            {std::string("\0\x01\x02", 3), -32700},
            {"\"\xff\"", -32700},
            {"{\"jsonrpc\":\"2.0\",", -32700},
            {std::string(1 << 21, '['), -32700},
            {std::string((4 << 20) + 1, ' '), -32700},
            {"[1e999]", -32700},
            {"[]", -32600},
            {"{}", -32600},
            {R"({"jsonrpc":"1.0","method":"getBV2Connect","id":1})", -32600},
            {R"({"jsonrpc":"2.0","method":"getBV2Connect","id":{}})", -32600},
    };
    for (const auto& [line, code] : lines) {
        say(line);
        const Json answer = heard();
        EXPECT_EQ(code, answer["error"]["code"]) << line.substr(0, 60);
        EXPECT_EQ("bool", ask("methods")[32]["value"]);
    }
}

TEST_F(SessionTest, EmptyLinesAndNotificationsGetNoAnswer) {
    givenService();
    startSession();
    say("");
    say(" \t\r");
    say(R"({"jsonrpc":"2.0","method":"setBrightness","params":[1]})");
    say(R"({"jsonrpc":"2.0","method":"setBrightness","params":["x"]})");
    say(R"({"jsonrpc":"2.0","method":"nothing"})");
    say(R"([{"jsonrpc":"2.0","method":"setBrightness","params":[2]}])");
    EXPECT_EQ("OK", ask("setBrightness", "[3]")["status"]);
    for (int level : {1, 2, 3}) EXPECT_EQ(level, nextCall()["args"][0]);
}

TEST_F(SessionTest, ABatchIsAnsweredInOneLine) {
    givenService();
    startSession();
    say(R"([{"jsonrpc":"2.0","id":"a","method":"setBrightness","params":[1]},)"
        R"({"jsonrpc":"2.0","method":"setBrightness","params":[2]},7,)"
        R"({"jsonrpc":"2.0","id":null,"method":"setBrightness","params":[]}])");
    EXPECT_EQ(R"([{"jsonrpc":"2.0","id":"a","result":{"method":"setBrightness","status":"OK"}},)"
              R"({"jsonrpc":"2.0","id":null,"error":{"code":-32600,)"
              R"("message":"invalid request: a request is an object"}},)"
              R"({"jsonrpc":"2.0","id":null,"error":{"code":-32602,)"
              R"("message":"setBrightness takes 1 parameters (value), not 0"}}])",
              session->line());
}

TEST_F(SessionTest, AHalfLineAtTheEndIsAnsweredToo) {
    givenService();
    startSession();
    session->send("{\"jsonrpc\":\"2.0\",\"id\":1,");
    session->endInput();
    EXPECT_EQ(-32700, heard()["error"]["code"]);
    EXPECT_EQ(0, session->wait());
    EXPECT_EQ("", errors());

    startSession();
    session->send(R"({"jsonrpc":"2.0","id":1,"method":"getBV2Connect"})");
    session->endInput();
    EXPECT_EQ(R"({"id":1,"result":{"method":"getBV2Connect","value":false}})", told());
    EXPECT_EQ(0, session->wait());
}

TEST_F(SessionTest, TheDumpIsJsonOrText) {
    givenService({"--text-in", "debug",
                  hex(R"({"serial":{"attached":true}})") + "," + hex("text\n") + "," + hex("") +
                          "," + hex("")});
    startSession();
    EXPECT_EQ(R"({"method":"dump","value":{"serial":{"attached":true}}})", ask("dump").dump());
    EXPECT_EQ(R"(["--json"])", nextCall()["args"].dump());
    EXPECT_EQ("text\n", ask("dump", R"([["--x","y"]])")["value"]);
    EXPECT_EQ(R"(["--x","y"])", nextCall()["args"].dump());
    EXPECT_EQ(-32004, errorOf("dump", R"({"options":[]})"));
}

TEST_F(SessionTest, ADumpWithoutEndIsAnError) {
    givenService({"--keep-dump"});
    startSession();
    EXPECT_EQ(-32004, errorOf("dump"));
    EXPECT_EQ("OK", ask("setBrightness", "[3]")["status"]);
}

TEST_F(SessionTest, AServiceOfVersion1_0HasTheMethodsOfItsVersion) {
    givenService({"--v1_0"});
    startSession();
    EXPECT_EQ(-32003, errorOf("setAesMode", "[1]"));
    EXPECT_EQ("OK", ask("setBrightness", "[3]")["status"]);
    EXPECT_EQ(2u, ask("session")["service"]["interfaces"].size());
}

TEST_F(SessionTest, DescribesItself) {
    startSession();
    const Json answer = ask("session");
    EXPECT_EQ("bivistactl " + answer["version"].get<std::string>() + "\n",
              run({"--version"}).output);
    EXPECT_EQ(R"(null[])", answer["service"].dump() + answer["subscriptions"].dump());
}

// The requests are many more than any buffer holds.
TEST_F(SessionTest, ManyRequestsAreAnsweredInTheirOrder) {
    givenService();
    startSession();
    constexpr int kRequests = 20'000;
    std::string requests;
    for (int id = 0; id < kRequests; ++id) {
        requests += R"({"jsonrpc":"2.0","id":)" + std::to_string(id) +
                    R"(,"method":"nothing","params":{"a":")" + std::string(100, 'a') + "\"}}\n";
    }
    // A child writes, since the session stops to read while nobody reads its answers.
    Process writer([&](const Process::Ready&) {
        session->send(requests);
        return 0;
    });
    for (int id = 0; id < kRequests; ++id) ASSERT_EQ(id, heard()["id"]);
}
