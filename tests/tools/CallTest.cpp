// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <sys/wait.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <ostream>
#include <string>
#include <vector>

#include "tests/tools/Cli.h"

using namespace std::string_literals;
using testing::HasSubstr;
using testing::StartsWith;
using Json = nlohmann::ordered_json;

namespace {

struct MethodCase {
    const char* name;
    std::vector<std::string> arguments;
    // What reaches the service.
    const char* received;
    // What is printed after the method's name.
    const char* printed;
};

void PrintTo(const MethodCase& method, std::ostream* out) {
    *out << method.name;
}

constexpr const char* kOk = R"(,"status":"OK")";
constexpr const char* kText = R"(,"status":"OK","value":"text")";

// In the interface's order.
const MethodCase kMethods[] = {
        {"getFirmwareVersion", {}, "[]", kText},
        {"checkFirmwareVersion", {}, "[]", kOk},
        {"getFirmwareFile", {}, "[]", kText},
        {"doFirmwareUpgrade", {}, "[]", kOk},
        {"goDload", {}, "[]", kOk},
        {"goSTMDload", {}, "[]", kOk},
        {"cancelFirmwareUpgrade", {}, "[]", kOk},
        {"getTouchFirmwareVersion", {}, "[]", kText},
        {"DoRawdata", {}, "[]", kOk},
        {"DoDelta", {}, "[]", kOk},
        {"DoTouchReset", {}, "[]", kOk},
        {"getGpiopin", {}, "[]", kText},
        {"setStatus", {"-1", "0x7fffffff"}, "[-1,2147483647]", kOk},
        {"DoTouchFirmwareUpgrade", {}, "[]", kOk},
        {"getSelfTest", {}, "[]", kText},
        {"getLPWGSelfTest", {}, "[]", kText},
        {"getTestResults", {}, "[]", kOk},
        {"setLpwgCallback", {"null"}, "[null]", ""},
        {"setBrightness", {"128"}, "[128]", kOk},
        {"setPowerStatus", {"true", "false"}, "[true,false]", kOk},
        {"getCoverDisplayCutout", {}, "[]", kText},
        {"setRgbTune", {"1", "0xffffffff", "3", "4"}, "[1,4294967295,3,4]", kOk},
        {"setScreenMode", {"-2147483648"}, "[-2147483648]", kOk},
        {"setScreenTune", {"2", "3", "4", "5"}, "[2,3,4,5]", kOk},
        {"setBVBrightnessOffset", {"-20"}, "[-20]", kOk},
        {"getBV2Status", {}, "[]", R"(,"status":"OK","value":{"connected":true})"},
        {"setSubDisplayBrightness", {"0xFF"}, "[255]", kOk},
        {"setSubDisplayPowerState", {"false"}, "[false]", kOk},
        {"getSubDisplayInfo",
         {},
         "[]",
         R"(,"status":"OK","value":{"x":128,"y":65535,"format":255})"},
        {"drawSubDisplay", {"0,0xf0,4294967295"}, "[[0,240,4294967295]]", kOk},
        {"getSubDisplayPowerState", {}, "[]", R"(,"status":"OK","value":{"state":"ON","code":3})"},
        {"setSubDisplayCallback", {"null"}, "[null]", ""},
        {"getBV2Connect", {}, "[]", R"(,"value":true)"},
        {"sendAtCommand", {"AT%SWV", "null"}, R"(["AT%SWV",null])", kText},
        {"setAesMode", {"2"}, "[2]", kOk},
        {"manageAesMode", {"1"}, "[1]", kOk},
        {"bv_update_state", {}, "[]", kOk},
        {"set_touch_perf", {"true"}, "[true]", kOk},
};

class MethodTest : public CliTest, public testing::WithParamInterface<MethodCase> {
  protected:
    static std::vector<std::string> commandLine() {
        std::vector<std::string> words = {"call", GetParam().name};
        words.insert(words.end(), GetParam().arguments.begin(), GetParam().arguments.end());
        return words;
    }

    static std::string with(std::string text, const std::string& from, const std::string& to) {
        size_t at = text.find(from);
        return at == std::string::npos ? text : text.replace(at, from.size(), to);
    }
};

class CallTest : public CliTest {
  protected:
    // Wrong usage: reported on standard error alone, before any service is asked.
    void expectRefused(const std::vector<std::string>& words, const std::string& message) {
        std::vector<std::string> commandLine = {"call"};
        commandLine.insert(commandLine.end(), words.begin(), words.end());
        Result result = run(commandLine);
        EXPECT_EQ(2, result.code) << testing::PrintToString(words);
        EXPECT_EQ("", result.output);
        EXPECT_THAT(result.errors, StartsWith("bivistactl: "));
        EXPECT_THAT(result.errors, HasSubstr(message));
    }
};

}  // namespace

TEST_P(MethodTest, ReachesTheServiceAndPrintsItsAnswer) {
    givenService({"--flag"});
    Result result = run(commandLine());
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(R"({"method":")"s + GetParam().name + '"' + GetParam().printed + "}\n",
              result.output);
    EXPECT_EQ(Json({{"method", GetParam().name}, {"args", Json::parse(GetParam().received)}}),
              nextCall());
}

TEST_P(MethodTest, AnAnswerOfFailIsPrintedAndEndsWithOne) {
    givenService({"--flag", "--fail"});
    Result result = run(commandLine());
    const std::string printed = with(GetParam().printed, "OK", "FAIL");
    EXPECT_EQ(printed == GetParam().printed ? 0 : 1, result.code);
    EXPECT_EQ(R"({"method":")"s + GetParam().name + '"' + printed + "}\n", result.output);
}

TEST_P(MethodTest, AServiceThatDiesInTheCallEndsWithThree) {
    givenService({"--exit-in", GetParam().name});
    Result result = run(commandLine());
    EXPECT_EQ(3, result.code);
    EXPECT_EQ("", result.output);
    EXPECT_THAT(result.errors, HasSubstr("the service died during the call"));
    EXPECT_THAT(result.errors, HasSubstr("start it again"));
}

INSTANTIATE_TEST_SUITE_P(All, MethodTest, testing::ValuesIn(kMethods),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_P(MethodTest, PrintsTheSameWhenAskedForJson) {
    givenService();
    const std::string printed = run(commandLine()).output;
    std::vector<std::string> words = commandLine();
    words.push_back("--json");
    EXPECT_EQ(printed, run(words).output);
    words.pop_back();
    words.insert(words.begin() + 1, "--json");
    EXPECT_EQ(printed, run(words).output);
}

TEST_F(CallTest, ATextMayBeTheWordForJson) {
    givenService();
    EXPECT_EQ(0, run({"call", "sendAtCommand", "--json", "null"}).code);
    EXPECT_EQ(Json({"--json", nullptr}), nextCall()["args"]);
}

TEST_F(CallTest, WithoutAServiceItEndsWithThreeAndTellsWhereItLooked) {
    Result result = run({"call", "getBV2Connect"});
    EXPECT_EQ(3, result.code);
    EXPECT_EQ("", result.output);
    EXPECT_THAT(result.errors, HasSubstr("HIDL_SOCKET_DIR=" + mFolder));
    EXPECT_THAT(result.errors, HasSubstr("Start the service"));
}

TEST_F(CallTest, AfterTheServiceWasKilledItEndsWithThree) {
    givenService();
    killService();
    EXPECT_EQ(3, run({"call", "getBV2Connect"}).code);
}

TEST_F(CallTest, WrongArgumentsAreRefusedBeforeAnyServiceIsAsked) {
    expectRefused({}, "call needs a method");
    expectRefused({"setbrightness", "1"}, "there is no method \"setbrightness\"");
    expectRefused({"-5"}, "there is no method \"-5\"");
    expectRefused({"setBrightness"},
                  "takes 1 arguments, not 0: bivistactl call setBrightness value");
    expectRefused({"setBrightness", "1", "2"}, "takes 1 arguments, not 2");
    expectRefused({"setBrightness", "--json"}, "value: \"--json\" is not");
    expectRefused({"setBrightness", "1", "--json", "--json"}, "takes 1 arguments, not 2");
    expectRefused({"setBrightness", "2147483648"}, "setBrightness, value: \"2147483648\" is not");
    expectRefused({"setBrightness", ""}, "\"\" is not an integer");
    expectRefused({"setRgbTune", "1", "2", "-3", "4"}, "setRgbTune, value3: \"-3\"");
    expectRefused({"setPowerStatus", "on", "off"}, "\"on\" is neither true nor false");
    expectRefused({"drawSubDisplay", "@/absent"}, "\"/absent\" cannot be opened: No such file");
    expectRefused({"drawSubDisplay", "1,"}, "drawSubDisplay, frame: ");
    expectRefused({"sendAtCommand", "AT", "cb"}, "use \"bivistactl watch lpwg\"");
    expectRefused({"setLpwgCallback", "x"}, "the only callback that can be given here");
}

TEST_F(CallTest, AFrameComesFromAFile) {
    const std::string file = mFolder + "/frame";
    std::ofstream(file, std::ios::binary) << "\x10\0\0\0\x20\0\0\x80"s;
    givenService();
    EXPECT_EQ(0, run({"call", "drawSubDisplay", "@" + file}).code);
    EXPECT_EQ(Json::parse("[[16,2147483680]]"), nextCall()["args"]);
}

TEST_F(CallTest, AWholeFrameOfTheSubDisplayFits) {
    const std::string file = mFolder + "/frame";
    std::ofstream(file, std::ios::binary) << std::string(65536, '\x10');
    givenService();
    EXPECT_EQ(0, run({"call", "drawSubDisplay", "@" + file}).code);
    EXPECT_EQ(16384, nextCall()["args"][0]["words"]);
}

TEST_F(CallTest, AnEmptyFrameIsACall) {
    givenService();
    EXPECT_EQ(0, run({"call", "drawSubDisplay", ""}).code);
    EXPECT_EQ(Json::parse("[[]]"), nextCall()["args"]);
}

TEST_F(CallTest, AFrameThatTheTransportRefusesIsNoDeath) {
    const std::string file = mFolder + "/frame";
    std::ofstream(file, std::ios::binary) << std::string(1 << 20, '\x10');
    givenService();
    Result result = run({"call", "drawSubDisplay", "@" + file});
    EXPECT_EQ(3, result.code);
    EXPECT_THAT(result.errors, HasSubstr("refused"));
    EXPECT_EQ(0, run({"call", "getBV2Connect"}).code);
}

TEST_F(CallTest, BytesThatAreNotUtf8AreEscaped) {
    givenService({"--text", hex("a\xff\0\"\n\xc3\xa9\x80"s)});
    Result result = run({"call", "getGpiopin"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(
            "{\"method\":\"getGpiopin\",\"status\":\"OK\",\"value\":"
            "\"a\\udcff\\u0000\\\"\\n\xc3\xa9\\udc80\"}\n",
            result.output);
}

TEST_F(CallTest, TextsReachTheServiceUnchanged) {
    givenService();
    EXPECT_EQ(0, run({"call", "sendAtCommand", "--x \xc3\xa9\n\"", "null"}).code);
    EXPECT_EQ("--x \xc3\xa9\n\"", nextCall()["args"][0]);
}

TEST_F(CallTest, ClearingTheLpwgCallbackWarnsFirst) {
    givenService({"--exit-in", "setLpwgCallback"});
    EXPECT_THAT(run({"call", "setLpwgCallback", "null"}).errors,
                StartsWith("bivistactl: setLpwgCallback null does not return"));
}

TEST_F(CallTest, AServiceOfVersion1_0ServesItsMethodsAlone) {
    givenService({"--v1_0"});
    EXPECT_EQ(0, run({"call", "setBrightness", "1"}).code);
    Result result = run({"call", "setAesMode", "1"});
    EXPECT_EQ(3, result.code);
    EXPECT_THAT(result.errors, HasSubstr("serves only version 1.0"));
}

TEST_F(CallTest, HelpListsEveryMethodWithItsArguments) {
    for (const auto& words : {std::vector<std::string>{"call", "--help"},
                              std::vector<std::string>{"call", "setBrightness", "--help"}}) {
        Result result = run(words);
        EXPECT_EQ(0, result.code);
        EXPECT_THAT(result.output, StartsWith("Call any method"));
        EXPECT_THAT(result.output, HasSubstr("Usage: bivistactl call METHOD [ARG...]"));
        for (const MethodCase& method : kMethods)
            EXPECT_THAT(result.output, HasSubstr(method.name));
        EXPECT_THAT(result.output, HasSubstr("setPowerStatus enable:true|false uevent:true|false"));
    }
}
