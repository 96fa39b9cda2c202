// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The commands of the sub display that print its state, and those that draw.

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <string>
#include <vector>

#include "tests/tools/Cli.h"
#include "tests/tools/picture/PngFile.h"

using testing::Contains;
using testing::Each;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using Json = nlohmann::ordered_json;
using Words = std::vector<std::string>;

namespace {

// How the panel shows a grey.
constexpr int kWhite = 0xf0;
constexpr int kBlack = 0;

class SubTest : public CliTest {
  protected:
    std::string givenPicture(const std::string& bytes) {
        std::string path = mFolder + "/picture.png";
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }
    std::string givenPicture(uint32_t width, uint32_t height, const std::vector<uint8_t>& pixels) {
        return givenPicture(greyPng(width, height, pixels).encode());
    }

    // Runs a command that draws, and returns the frame that it asks the service to draw.
    Json drawnBy(const Words& words) {
        const Result result = run(words);
        EXPECT_EQ(0, result.code);
        EXPECT_EQ("", result.output);
        EXPECT_EQ("", result.errors);
        EXPECT_EQ("getSubDisplayInfo", nextCall()["method"]);
        const Json call = nextCall();
        EXPECT_EQ("drawSubDisplay", call["method"]);
        return call["args"][0];
    }

    void expectRefused(const Words& words, const std::string& message) {
        const Result result = run(words);
        EXPECT_EQ(2, result.code) << testing::PrintToString(words);
        EXPECT_EQ("", result.output);
        EXPECT_THAT(result.errors, HasSubstr(message));
    }
};

// Each draws something on any panel.
const Words kDrawing[] = {{"sub", "test-pattern"}, {"sub", "clear"}, {"sub", "text", "a"}};

}  // namespace

TEST_F(SubTest, InfoTellsSizeAndFormat) {
    givenService({"--panel", "128x64"});
    const Result result = run({"sub", "info"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ("128 x 64, format 255\n", result.output);
}

TEST_F(SubTest, InfoOfAPanelThatIsGoneIsNotPrinted) {
    givenService({"--fail"});
    const Result result = run({"sub", "info"});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("", result.output);
    EXPECT_THAT(result.errors, StartsWith("bivistactl: FAIL: there is no panel"));
}

TEST_F(SubTest, StateIsToldByItsName) {
    givenService();
    const Result result = run({"sub", "state"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ("ON\n", result.output);
}

TEST_F(SubTest, WatchPrintsTheStates) {
    givenService();
    for (const Words& words : {Words{"sub", "watch"}, {"sub", "watch", "--json"}}) {
        auto watch = start(words);
        EXPECT_EQ(R"({"event":"sub","state":"INITIALIZED","code":1})", watch->line());
        EXPECT_EQ(R"({"event":"sub","state":"ON","code":3})", watch->line());
    }
}

TEST_F(SubTest, APictureInThePanelsSizeIsShownPixelForPixel) {
    givenService({"--panel", "4x2"});
    const std::string picture = givenPicture(4, 2, {0, 17, 34, 51, 204, 221, 238, 255});
    EXPECT_EQ(Json({0x00, 0x10, 0x20, 0x30, 0xc0, 0xd0, 0xe0, 0xf0}),
              drawnBy({"sub", "show", picture}));
}

TEST_F(SubTest, APictureKeepsItsProportionsInTheMiddleOfBlack) {
    givenService({"--panel", "4x2"});
    const std::string square = givenPicture(1, 1, {255});
    EXPECT_EQ(Json({0, kWhite, kWhite, 0, 0, kWhite, kWhite, 0}), drawnBy({"sub", "show", square}));
    killService();
    givenService({"--panel", "2x3"});
    const std::string wide = givenPicture(2, 1, {255, 255});
    EXPECT_EQ(Json({0, 0, kWhite, kWhite, 0, 0}), drawnBy({"sub", "show", wide}));
}

TEST_F(SubTest, APictureOfThePanelsProportionsHasNoBars) {
    givenService({"--panel", "4x2"});
    const std::string picture = givenPicture(2, 1, {0, 255});
    EXPECT_EQ(Json({0, 0, kWhite, kWhite, 0, 0, kWhite, kWhite}),
              drawnBy({"sub", "show", picture}));
}

TEST_F(SubTest, StretchFillsThePanel) {
    givenService({"--panel", "4x2"});
    const std::string picture = givenPicture(1, 2, {0, 255});
    EXPECT_EQ(Json({0, 0, 0, 0, kWhite, kWhite, kWhite, kWhite}),
              drawnBy({"sub", "show", "--stretch", picture}));
}

TEST_F(SubTest, AGreyBetweenTwoLevelsIsDitheredUnlessToldOtherwise) {
    givenService({"--panel", "8x8"});
    const std::string picture = givenPicture(1, 1, {110});
    EXPECT_THAT((drawnBy({"sub", "show", "--no-dither", picture})), Each(Json(0x60)));
    const Json dithered = drawnBy({"sub", "show", picture});
    EXPECT_THAT(dithered, Contains(Json(0x60)));
    EXPECT_THAT(dithered, Contains(Json(0x70)));
}

TEST_F(SubTest, TextIsDrawnOnTheWholePanel) {
    givenService({"--panel", "10x10"});
    const Json frame = drawnBy({"sub", "text", "\xc3\xa9"});
    EXPECT_EQ(100u, frame.size());
    EXPECT_THAT(frame, Contains(Json(kBlack)));
    EXPECT_THAT(frame, Contains(testing::Ge(Json(0x80))));
}

TEST_F(SubTest, TheTestPatternHasAWhiteBorder) {
    givenService({"--panel", "3x3"});
    EXPECT_EQ(Json({kWhite, kWhite, kWhite, kWhite, kBlack, kWhite, kWhite, kWhite, kWhite}),
              drawnBy({"sub", "test-pattern"}));
}

TEST_F(SubTest, ClearDrawsBlack) {
    givenService({"--panel", "2x2"});
    EXPECT_EQ(Json({0, 0, 0, 0}), drawnBy({"sub", "clear"}));
}

TEST_F(SubTest, TheLargestPanelThatTheServiceTakesIsDrawnOn) {
    givenService({"--panel", "65535x1"});
    EXPECT_EQ(Json({{"words", 65535}}), drawnBy({"sub", "clear"}));
}

TEST_F(SubTest, APanelOfASizeThatCannotBeIsNotDrawnOn) {
    for (const char* size : {"0x0", "0x64", "65535x65535", "256x256"}) {
        givenService({"--panel", size});
        for (const Words& words : kDrawing) {
            const Result result = run(words);
            EXPECT_EQ(1, result.code);
            EXPECT_THAT(result.errors, HasSubstr("no picture of that size can be drawn"));
            EXPECT_EQ("getSubDisplayInfo", nextCall()["method"]);
        }
        killService();
    }
}

TEST_F(SubTest, WithoutAPanelNothingIsDrawn) {
    givenService({"--fail", "--panel", "4x2"});
    for (const Words& words : kDrawing) {
        const Result result = run(words);
        EXPECT_EQ(1, result.code);
        EXPECT_THAT(result.errors, StartsWith("bivistactl: FAIL: there is no panel"));
        EXPECT_EQ("getSubDisplayInfo", nextCall()["method"]);
    }
}

TEST_F(SubTest, AFrameThatTheServiceRefusesEndsWithOneAndTellsWhatToDo) {
    givenService({"--fail-in", "drawSubDisplay", "--panel", "10x10"});
    for (const Words& words : kDrawing) {
        const Result result = run(words);
        EXPECT_EQ(1, result.code);
        EXPECT_EQ("", result.output);
        EXPECT_THAT(result.errors, StartsWith("bivistactl: FAIL: the panel is off or gone"));
        EXPECT_THAT(result.errors, EndsWith(".\n"));
    }
}

TEST_F(SubTest, AsJsonWhatTheDrawingAnsweredIsPrinted) {
    const std::string picture = givenPicture(1, 1, {0});
    std::vector<Words> drawing(std::begin(kDrawing), std::end(kDrawing));
    drawing.push_back({"sub", "show", picture});
    for (Words words : drawing) {
        words.push_back("--json");
        givenService({"--panel", "64x64"});
        Result result = run(words);
        EXPECT_EQ(0, result.code) << words[1];
        EXPECT_EQ("{\"method\":\"drawSubDisplay\",\"status\":\"OK\"}\n", result.output);
        EXPECT_EQ("", result.errors);
        killService();

        givenService({"--panel", "64x64", "--fail-in", "drawSubDisplay"});
        result = run(words);
        EXPECT_EQ(1, result.code) << words[1];
        EXPECT_EQ("{\"method\":\"drawSubDisplay\",\"status\":\"FAIL\"}\n", result.output);
        EXPECT_THAT(result.errors, StartsWith("bivistactl: FAIL: the panel is off or gone"));
        killService();
    }
}

TEST_F(SubTest, AsJsonTheQuestionForThePanelIsPrintedWhenThereIsNone) {
    givenService({"--panel", "4x2", "--fail"});
    const Result result = run({"sub", "clear", "--json"});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ(run({"call", "getSubDisplayInfo"}).output, result.output);
    EXPECT_THAT(result.output, StartsWith(R"({"method":"getSubDisplayInfo","status":"FAIL",)"));
}

TEST_F(SubTest, AsJsonNothingIsPrintedOfAPanelThatCannotBeDrawnOn) {
    givenService({"--panel", "0x2"});
    const Result result = run({"sub", "clear", "--json"});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("", result.output);
}

TEST_F(SubTest, AServiceThatDiesEndsWithThree) {
    const Words commands[] = {{"sub", "info"}, {"sub", "state"}, {"sub", "clear"}};
    const char* methods[] = {"getSubDisplayInfo", "getSubDisplayPowerState", "drawSubDisplay"};
    for (size_t i = 0; i < std::size(commands); ++i) {
        givenService({"--exit-in", methods[i], "--panel", "4x2"});
        EXPECT_EQ(3, run(commands[i]).code) << methods[i];
        killService();
    }
}

TEST_F(SubTest, WithoutAServiceItEndsWithThree) {
    const std::string picture = givenPicture(1, 1, {0});
    for (const Words& words :
         {Words{"info"}, {"state"}, {"watch"}, {"clear"}, {"show", picture}, {"text", "a"}}) {
        Words all = {"sub"};
        all.insert(all.end(), words.begin(), words.end());
        EXPECT_EQ(3, run(all).code) << words[0];
    }
}

TEST_F(SubTest, WhatIsNoPictureIsRefusedBeforeAnyServiceIsAsked) {
    const std::string whole = greyPng(16, 16, std::vector<uint8_t>(256, 7)).encode();
    expectRefused({"sub", "show"}, "PICTURE is required");
    expectRefused({"sub", "show", mFolder + "/absent.png"}, "cannot be opened: No such file");
    expectRefused({"sub", "show", mFolder}, "is a folder, not a file");
    expectRefused({"sub", "show", "/dev/null"}, "PICTURE: \"/dev/null\" is no good PNG: ");
    expectRefused({"sub", "show", "/dev/zero"}, "\"/dev/zero\" is longer than 64 MiB");
    expectRefused({"sub", "show", givenPicture("GIF89a")}, "picture.png\" is no good PNG: ");
    expectRefused({"sub", "show", givenPicture(whole.substr(0, 50))}, "is no good PNG: ");
    expectRefused({"sub", "show", givenPicture(withSize(whole, 60000, 60000))},
                  "is too large: 60000 x 60000 pixels");
}

TEST_F(SubTest, WhatIsNoLineOfTextIsRefusedBeforeAnyServiceIsAsked) {
    expectRefused({"sub", "text"}, "TEXT is required");
    expectRefused({"sub", "text", ""}, "bivistactl sub clear");
    expectRefused({"sub", "text", "a\nb"}, "TEXT: \"a<LF>b\" holds a control character");
    expectRefused({"sub", "text", "\xff"}, "TEXT: \"<0xff>\" is not UTF-8");
    expectRefused({"sub", "text", "one", "two"}, "not expected: two");
}

TEST_F(SubTest, ATextThatCannotBeDrawnIsWrongUsage) {
    givenService({"--panel", "20x20"});
    expectRefused({"sub", "text", "far too long for it"}, "legibly on a panel of 20 x 20 pixels.");
    expectRefused({"sub", "text", "a", "--font", "/absent.ttf"}, "\"/absent.ttf\" is no font");
    expectRefused({"sub", "text", "a\xe6\xbc\xa2"}, "has no letter \"\xe6\xbc\xa2\" (U+6F22)");
    for (int asked = 0; asked < 3; ++asked) EXPECT_EQ("getSubDisplayInfo", nextCall()["method"]);
}
