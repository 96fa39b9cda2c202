// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/session/Bind.h"

#include <gtest/gtest.h>

#include <string>

using namespace session;

namespace {

// The message with which binding fails; empty for a call.
std::string complaintAbout(const char* method, const std::string& params) {
    try {
        EXPECT_NE(nullptr, toCall(*bivistactl::findMethod(method), parseJson(params)));
        return "";
    } catch (const RpcError& error) {
        EXPECT_EQ(INVALID_PARAMS, error.code);
        return error.what();
    }
}

Json describe(const char* name) {
    for (Json& method : describeMethods()) {
        if (method["name"] == name) return method;
    }
    return nullptr;
}

}  // namespace

TEST(BindTest, ValuesOfTheRightTypesMakeACall) {
    for (const auto& [method, params] : {
                 std::pair{"getBV2Connect", "[]"},
                 {"setStatus", R"({"value":-2147483648,"type":2147483647})"},
                 {"setPowerStatus", "[true,false]"},
                 {"setRgbTune", "[0,1,2,4294967295]"},
                 {"setScreenMode", "[-7]"},
                 {"drawSubDisplay", "[[]]"},
                 {"drawSubDisplay", R"({"frame":[0,4294967295]})"},
                 {"sendAtCommand", R"(["",null])"},
                 {"setLpwgCallback", "[null]"},
         }) {
        EXPECT_EQ("", complaintAbout(method, params)) << method;
    }
}

TEST(BindTest, ValuesOfOtherTypesAreToldByTheirNames) {
    const std::string int32 = " is not an integer from -2147483648 to 2147483647.";
    const std::string uint32 = " is not an integer from 0 to 4294967295.";
    EXPECT_EQ("setBrightness, value: 2147483648" + int32,
              complaintAbout("setBrightness", "[2147483648]"));
    EXPECT_EQ("setBrightness, value: -2147483649" + int32,
              complaintAbout("setBrightness", "[-2147483649]"));
    EXPECT_EQ("setBrightness, value: 18446744073709551615" + int32,
              complaintAbout("setBrightness", "[18446744073709551615]"));
    EXPECT_EQ("setBrightness, value: 1.0" + int32, complaintAbout("setBrightness", "[1.0]"));
    EXPECT_EQ("setBrightness, value: \"1\"" + int32, complaintAbout("setBrightness", "[\"1\"]"));
    EXPECT_EQ("setAesMode, mode: -1" + uint32, complaintAbout("setAesMode", "[-1]"));
    EXPECT_EQ("setAesMode, mode: 4294967296" + uint32,
              complaintAbout("setAesMode", "[4294967296]"));
    EXPECT_EQ("setPowerStatus, uevent: 0 is not true or false.",
              complaintAbout("setPowerStatus", "[true,0]"));
    EXPECT_EQ("sendAtCommand, cmd: null is not a text.",
              complaintAbout("sendAtCommand", "[null,null]"));
    EXPECT_EQ("drawSubDisplay, frame: \"@file\" is not an array of integers.",
              complaintAbout("drawSubDisplay", R"(["@file"])"));
    EXPECT_EQ("drawSubDisplay, frame: an array" + uint32,
              complaintAbout("drawSubDisplay", "[[[]]]"));
    EXPECT_EQ(
            "setSubDisplayCallback, callback: an object is not null, the only callback that can "
            "be given here.",
            complaintAbout("setSubDisplayCallback", "[{}]"));
    EXPECT_EQ("setBrightness, value: a long text" + int32,
              complaintAbout("setBrightness", "[\"" + std::string(1000, 'a') + "\"]"));
}

TEST(BindTest, AFrameIsAsLongAsACallMayBe) {
    const auto frame = [](size_t words) { return Json::array({std::vector<int>(words)}).dump(); };
    EXPECT_EQ("", complaintAbout("drawSubDisplay", frame(262144)));
    EXPECT_EQ("drawSubDisplay, frame: the array holds more than 1 MiB, which no call carries.",
              complaintAbout("drawSubDisplay", frame(262145)));
}

TEST(BindTest, TheDescriptionHasTypesOfParametersAndAnswers) {
    EXPECT_EQ(38u, describeMethods().size());
    EXPECT_EQ(R"({"name":"setPowerStatus","parameters":[{"name":"enable","type":"bool"},)"
              R"({"name":"uevent","type":"bool"}],"status":true,"value":null})",
              describe("setPowerStatus").dump());
    EXPECT_EQ(R"({"name":"getBV2Connect","parameters":[],"status":false,"value":"bool"})",
              describe("getBV2Connect").dump());
    EXPECT_EQ("string", describe("getGpiopin")["value"]);
    EXPECT_EQ("BivistaStatus", describe("getBV2Status")["value"]);
    EXPECT_EQ("SubScreenInfo", describe("getSubDisplayInfo")["value"]);
    EXPECT_EQ("SubScreenState", describe("getSubDisplayPowerState")["value"]);
    EXPECT_EQ(R"([{"name":"frame","type":"uint32[]"}])",
              describe("drawSubDisplay")["parameters"].dump());
    EXPECT_FALSE(describe("setLpwgCallback")["status"]);
}
