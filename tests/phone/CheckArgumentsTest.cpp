// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Calls by names and JSON: what is refused without a service.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "emulator/phone/calls/Invoke.h"

namespace {

using calls::checkArguments;
using calls::Json;
using testing::Contains;
using testing::Not;
using testing::SizeIs;

Json list(const char* text) {
    return Json::parse(text);
}

TEST(CheckArguments, KnowsTheMethodsOfBothVersionsOnce) {
    const std::vector<std::string>& names = calls::methodNames();
    EXPECT_THAT(names, SizeIs(38));
    EXPECT_EQ(names.front(), "getFirmwareVersion");
    EXPECT_EQ(names.back(), "set_touch_perf");
    EXPECT_THAT(names, Not(Contains("onAtResponse")));
    EXPECT_EQ(checkArguments("setBrightnes", list("[1]")),
              "there is no method \"setBrightnes\": did you mean setBrightness?");
    EXPECT_EQ(checkArguments("", list("[]")), "there is no method \"\"");
    EXPECT_EQ(checkArguments("onAtResponse", list("[\"\"]")),
              "there is no method \"onAtResponse\"");
}

TEST(CheckArguments, Count) {
    EXPECT_EQ(checkArguments("getBV2Connect", list("[]")), "");
    EXPECT_EQ(checkArguments("getBV2Connect", list("[1]")),
              "getBV2Connect: needs 0 arguments, not 1");
    EXPECT_EQ(checkArguments("setBrightness", list("[]")),
              "setBrightness: needs 1 argument, not 0");
    EXPECT_EQ(checkArguments("setBrightness", list("5")),
              "setBrightness: 5 is not a list of arguments");
    EXPECT_EQ(checkArguments("setBrightness", Json()),
              "setBrightness: null is not a list of arguments");
}

TEST(CheckArguments, Numbers) {
    for (const char* right : {"[0]", "[-2147483648]", "[2147483647]"}) {
        EXPECT_EQ(checkArguments("setBrightness", list(right)), "") << right;
    }
    const std::string range = "not a whole number from -2147483648 to 2147483647";
    for (const std::string wrong :
         {"2147483648", "-2147483649", "18446744073709551615", "1.0", "true", "null", "\"5\""}) {
        EXPECT_EQ(checkArguments("setBrightness", Json::parse("[" + wrong + "]")),
                  "setBrightness: argument 1: " + wrong + " is " + range);
    }
    EXPECT_EQ(checkArguments("setRgbTune", list("[0,1,255,4294967295]")), "");
    EXPECT_EQ(checkArguments("setRgbTune", list("[0,1,-1,0]")),
              "setRgbTune: argument 3: -1 is not a whole number from 0 to 4294967295");
    EXPECT_EQ(checkArguments("setAesMode", list("[[2]]")),
              "setAesMode: argument 1: a list is not a whole number from 0 to 4294967295");
}

TEST(CheckArguments, Booleans) {
    EXPECT_EQ(checkArguments("setPowerStatus", list("[true,false]")), "");
    EXPECT_EQ(checkArguments("setPowerStatus", list("[true,1]")),
              "setPowerStatus: argument 2: 1 is not true or false");
}

TEST(CheckArguments, Enumerators) {
    for (const char* right : {"[\"MODE_3\"]", "[\"DEFAULT\"]", "[2]", "[-7]"}) {
        EXPECT_EQ(checkArguments("setScreenMode", list(right)), "") << right;
    }
    EXPECT_EQ(checkArguments("setScreenMode", list("[\"MODE_11\"]")),
              "setScreenMode: argument 1: \"MODE_11\" is not one of DEFAULT, MODE_1, MODE_2, "
              "MODE_3: did you mean MODE_1?");
    EXPECT_EQ(checkArguments("setScreenMode", list("[4294967296]")),
              "setScreenMode: argument 1: 4294967296 is not a whole number from -2147483648 to "
              "2147483647");
}

TEST(CheckArguments, Structures) {
    EXPECT_EQ(checkArguments("setStatus", list(R"([{"value":2,"type":1}])")), "");
    EXPECT_EQ(checkArguments("setStatus", list(R"([{"type":1}])")),
              "setStatus: argument 1: there is no value");
    EXPECT_EQ(checkArguments("setStatus", list(R"([{"type":1,"value":"x"}])")),
              "setStatus: argument 1: value: \"x\" is not a whole number from -2147483648 to "
              "2147483647");
    EXPECT_EQ(checkArguments("setStatus", list(R"([{"type":1,"vale":2}])")),
              "setStatus: argument 1: there is no member \"vale\": did you mean value?");
    EXPECT_EQ(checkArguments("setStatus", list("[1]")),
              "setStatus: argument 1: 1 is not an object with type, value");
}

TEST(CheckArguments, TextsAndLists) {
    EXPECT_EQ(checkArguments("sendAtCommand", list(R"(["AT\\r\\x00\\\"",null])")), "");
    EXPECT_EQ(checkArguments("sendAtCommand", list(R"(["AT\\q",null])")),
              R"(sendAtCommand: argument 1: "AT\\q" is not a text: a backslash begins none of )"
              R"(\r \n \t \\ \" \xHH)");
    EXPECT_EQ(checkArguments("sendAtCommand", list(R"([{},null])")),
              "sendAtCommand: argument 1: an object is not a text");
    EXPECT_EQ(checkArguments("sendAtCommand", Json::array({"\\q" + std::string(4999, 'a'), {}})),
              "sendAtCommand: argument 1: a text of 5001 bytes is not a text: a backslash begins "
              "none of "
              R"(\r \n \t \\ \" \xHH)");
    EXPECT_EQ(checkArguments("drawSubDisplay", list("[[0,4294967295]]")), "");
    EXPECT_EQ(checkArguments("drawSubDisplay", list("[[]]")), "");
    EXPECT_EQ(checkArguments("drawSubDisplay", list("[[0,256,-1]]")),
              "drawSubDisplay: argument 1: element 3: -1 is not a whole number from 0 to "
              "4294967295");
    // What the journal's memory has of a long argument.
    EXPECT_EQ(checkArguments("drawSubDisplay", list(R"([{"length":32769,"crc32":"0"}])")),
              "drawSubDisplay: argument 1: an object is not a list");
}

TEST(CheckArguments, Callbacks) {
    for (const char* right : {"[\"callback\"]", "[\"callback-1.0\"]", "[null]"}) {
        EXPECT_EQ(checkArguments("setLpwgCallback", list(right)), "") << right;
        EXPECT_EQ(checkArguments("setSubDisplayCallback", list(right)), "") << right;
    }
    EXPECT_EQ(
            checkArguments("setLpwgCallback", list("[\"callback-1.1\"]")),
            "setLpwgCallback: argument 1: \"callback-1.1\" is not callback, callback-1.0 or null");
}

}  // namespace
