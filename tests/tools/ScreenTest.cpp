// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The commands that set something on the cover's two screens, and those that show the first one.

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <string>

#include "tests/tools/SettingTest.h"

using namespace std::string_literals;
using testing::HasSubstr;
using testing::StartsWith;
using Json = nlohmann::ordered_json;

namespace {

constexpr const char* kLog = "Its log tells why";

const Setting kSettings[] = {
        {"PowerOn", {"power", "on"}, "setPowerStatus", "[true,false]", "did not come up"},
        {"PowerOff", {"power", "off"}, "setPowerStatus", "[false,false]", "not attached"},
        {"PowerOnByUevent", {"power", "on", "--uevent"}, "setPowerStatus", "[true,true]", "status"},
        {"PowerOffByUevent",
         {"power", "--uevent", "off"},
         "setPowerStatus",
         "[false,true]",
         "status"},
        {"BrightnessLeast", {"brightness", "0"}, "setBrightness", "[0]", kLog},
        {"BrightnessMost", {"brightness", "0xff"}, "setBrightness", "[255]", kLog},
        {"OffsetBelow", {"offset", "-20"}, "setBVBrightnessOffset", "[-20]", "power on"},
        {"OffsetLeast",
         {"offset", "-2147483648"},
         "setBVBrightnessOffset",
         "[-2147483648]",
         "screen is off"},
        {"OffsetMost",
         {"offset", "2147483647"},
         "setBVBrightnessOffset",
         "[2147483647]",
         "is kept"},
        {"OffsetHexadecimal", {"offset", "-0x10"}, "setBVBrightnessOffset", "[-16]", "is kept"},
        {"OffsetOnce", {"offset", "100"}, "setBVBrightnessOffset", "[100]", "screen is off"},
        {"ModeByName", {"colour", "mode", "MODE_2"}, "setScreenMode", "[2]", kLog},
        {"ModeByNameInAnyCase", {"colour", "mode", "default"}, "setScreenMode", "[0]", kLog},
        {"ModeByNumber", {"colour", "mode", "3"}, "setScreenMode", "[3]", kLog},
        {"ModeWithoutName", {"colour", "mode", "-7"}, "setScreenMode", "[-7]", kLog},
        {"Rgb",
         {"colour", "rgb", "1", "0xffffffff", "0", "4"},
         "setRgbTune",
         "[1,4294967295,0,4]",
         kLog},
        {"Tune",
         {"colour", "tune", "3", "2", "4294967295"},
         "setScreenTune",
         "[3,2,4294967295,0]",
         kLog},
        {"SubOn", {"sub", "on"}, "setSubDisplayPowerState", "[true]", "on already"},
        {"SubOff", {"sub", "off"}, "setSubDisplayPowerState", "[false]", "off already"},
        {"SubBrightnessLeast",
         {"sub", "brightness", "0"},
         "setSubDisplayBrightness",
         "[0]",
         "no panel"},
        {"SubBrightnessMost",
         {"sub", "brightness", "255"},
         "setSubDisplayBrightness",
         "[255]",
         "sub state"},
        {"OtherSpelling", {"color", "tune", "1", "2", "3"}, "setScreenTune", "[1,2,3,0]", kLog},
};

class ScreenTest : public CliTest {};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Screen, SettingTest, testing::ValuesIn(kSettings), nameOf);

TEST_F(ScreenTest, WrongArgumentsAreRefusedBeforeAnyServiceIsAsked) {
    const Mistake mistakes[] = {
            {{"power"}, "STATE is required"},
            {{"power", "maybe"}, "STATE: \"maybe\" is neither on nor off"},
            {{"power", "ON"}, "STATE: \"ON\" is neither on nor off"},
            {{"power", ""}, "STATE: \"\" is neither on nor off"},
            {{"power", "on", "off"}, "not expected: off"},
            {{"brightness"}, "LEVEL is required"},
            {{"brightness", "256"}, "LEVEL: \"256\" is not from 0 to 255"},
            {{"brightness", "-1"}, "LEVEL: \"-1\" is not from 0 to 255"},
            {{"brightness", "2147483648"}, "LEVEL: \"2147483648\" is not an integer"},
            {{"brightness", "50%"}, "LEVEL: \"50%\" is not an integer"},
            {{"brightness", "1", "2"}, "not expected: 2"},
            {{"offset"}, "N is required"},
            {{"offset", "2147483648"}, "N: \"2147483648\" is not an integer from -2147483648"},
            {{"offset", "-2147483649"}, "N: \"-2147483649\" is not an integer"},
            {{"offset", "dark"}, "N: \"dark\" is not an integer"},
            {{"offset", "-dark"}, "there is no option \"-dark\""},
            {{"colour"}, "a command is missing after \"bivistactl colour\": "},
            {{"colour", "hue", "1"}, "there is no command \"hue\""},
            {{"colour", "mode"}, "MODE is required"},
            {{"colour", "mode", "vivid"}, "MODE: \"vivid\" is not an integer"},
            {{"colour", "mode", "MODE_4"}, "nor a name: DEFAULT, MODE_1, MODE_2, MODE_3"},
            {{"colour", "rgb", "1", "2", "3"}, "D is required"},
            {{"colour", "rgb", "1", "2", "-3", "4"}, "C: \"-3\" is not an integer from 0"},
            {{"colour", "rgb", "1", "2", "3", "4", "5"}, "not expected: 5"},
            {{"colour", "tune", "1", "2"}, "C is required"},
            {{"colour", "tune", "1", "x", "3"}, "B: \"x\" is not an integer from 0"},
            {{"colour", "tune", "1", "2", "3", "4"}, "not expected: 4"},
            {{"sub"}, "a command is missing after \"bivistactl sub\": "},
            {{"sub", "dim"}, "there is no command \"dim\""},
            {{"sub", "on", "now"}, "not expected: now"},
            {{"sub", "brightness"}, "LEVEL is required"},
            {{"sub", "brightness", "256"}, "LEVEL: \"256\" is not from 0 to 255"},
            {{"sub", "brightness", "-2147483648"}, "LEVEL: \"-2147483648\" is not from 0 to 255"},
            {{"sub", "brightness", "bright"}, "LEVEL: \"bright\" is not an integer"},
            {{"cutout", "please"}, "not expected: please"},
    };
    for (const Mistake& mistake : mistakes) expectWrongUsage(mistake);
}

TEST_F(ScreenTest, HelpOfOffsetTellsWhat100Is) {
    EXPECT_THAT(run({"offset", "--help"}).output, HasSubstr("100 is no offset but a one-shot"));
}

TEST_F(ScreenTest, CutoutIsPrintedAsItIs) {
    givenService({"--text", hex("M 0,0 H -36\nV 60 \xff\x1b Z")});
    Result result = run({"cutout"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ("M 0,0 H -36\nV 60 \xff\x1b Z\n", result.output);
    EXPECT_EQ(Json::parse(R"({"method":"getCoverDisplayCutout","args":[]})"), nextCall());
}

TEST_F(ScreenTest, OnATerminalACutoutIsSpelled) {
    givenService({"--text", hex("M\x1b[31m\nZ\xff")});
    Result result = runOnTerminal({"cutout"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ("M<ESC>[31m\nZ<0xff>\n", result.output);
}

TEST_F(ScreenTest, ACutoutThatIsUnknownIsNotPrinted) {
    givenService({"--fail", "--text", hex("half a cut")});
    Result result = run({"cutout"});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("", result.output);
    EXPECT_THAT(result.errors, StartsWith("bivistactl: FAIL: the cover is not attached"));
}

TEST_F(ScreenTest, WithoutAServiceThereIsNoCutout) {
    EXPECT_EQ(3, run({"cutout"}).code);
}

TEST_F(ScreenTest, AServiceThatDiesHasNoCutout) {
    givenService({"--exit-in", "getCoverDisplayCutout"});
    EXPECT_EQ(3, run({"cutout"}).code);
}
