// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Pictures that a scenario draws and expects.
#include <gtest/gtest.h>

#include "tests/play/Written.h"
#include "tests/tools/picture/PngFile.h"

namespace play {
namespace {

constexpr size_t kSide = 128;  // of the panel

// Of one grey, but for the first pixel.
std::string png(uint32_t width, uint32_t height, uint8_t first, uint8_t other) {
    std::vector<uint8_t> pixels(size_t{width} * height, other);
    pixels.front() = first;
    return greyPng(width, height, pixels).encode();
}

class PictureTest : public testing::Test {
  protected:
    Scenario read(const std::string& steps) const {
        return play::read(mFolder.write("s.yaml", withSteps(steps)));
    }

    // Without the folder.
    std::string errorOf(const std::string& steps) const {
        try {
            read(steps);
            return "";
        } catch (const Wrong& wrong) {
            std::string what = wrong.what();
            const std::string folder = mFolder.path().string() + "/";
            for (size_t at = 0; (at = what.find(folder)) != std::string::npos;) {
                what.erase(at, folder.size());
            }
            return what;
        }
    }

    const Folder mFolder;
};

TEST_F(PictureTest, IsDrawnAsWords) {
    mFolder.write("p.png", png(kSide, kSide, 255, 17));
    const Scenario scenario = read("  - call: drawSubDisplay\n    with: {picture: p.png}\n");
    Json words(kSide * kSide, 0x10);
    words[0] = 0xf0;
    EXPECT_EQ(Json::array({words}), std::get<Call>(scenario.steps.at(0).what).arguments);
}

TEST_F(PictureTest, IsExpectedAsLevels) {
    mFolder.write("p.png", png(kSide, kSide, 255, 170));
    const Scenario scenario = read("  - expect:\n      - picture: p.png\n");
    const auto& items = std::get<Expect>(scenario.steps.at(0).what).items;
    const auto& picture = std::get<PicturePattern>(items.at(0).what);
    EXPECT_EQ(mFolder.path() / "p.png", picture.file);
    EXPECT_EQ(kSide, picture.width);
    EXPECT_EQ(kSide, picture.height);
    EXPECT_EQ("f" + std::string(kSide * kSide - 1, 'a'), picture.levels);
}

TEST_F(PictureTest, MustBeThere) {
    EXPECT_EQ("s.yaml:5:18: the picture p.png: cannot be read: No such file or directory",
              errorOf("  - expect:\n      - picture: p.png\n"));
    EXPECT_EQ("s.yaml:5:21: the picture p.png: cannot be read: No such file or directory",
              errorOf("  - call: drawSubDisplay\n    with: {picture: p.png}\n"));
}

TEST_F(PictureTest, MustBeAPng) {
    mFolder.write("p.png", "no picture");
    const std::string error = errorOf("  - wait: {picture: p.png}\n");
    EXPECT_TRUE(error.starts_with("s.yaml:4:21: p.png is no good PNG: ")) << error;
}

TEST_F(PictureTest, MustHaveTheSizeOfThePanel) {
    mFolder.write("p.png", png(10, 20, 0, 0));
    const std::string steps = "  - expect:\n      - picture: p.png\n";
    EXPECT_EQ("s.yaml:5:18: p.png is 10 x 20 pixels large, the panel 128 x 128", errorOf(steps));
    EXPECT_EQ("", errorOf("  - do: subdisplay --width 10 --height 20\n" + steps));
    EXPECT_EQ("s.yaml:6:18: p.png is 10 x 20 pixels large, the panel 10 x 128",
              errorOf("  - do: subdisplay --width 10\n" + steps));
    mFolder.write("p.png", withSize(png(10, 20, 0, 0), 60'000, 60'000));
    EXPECT_EQ(
            "s.yaml:5:18: p.png is too large: 60000 x 60000 pixels, of which at most 65535 can "
            "be read",
            errorOf(steps));
}

TEST_F(PictureTest, IsExpectedInTheGreysOfThePanel) {
    mFolder.write("p.png", png(kSide, kSide, 255, 16));
    EXPECT_EQ(
            "s.yaml:5:18: p.png has greys that are none of the panel's 16; \"ctl snapshot\" "
            "keeps what the panel shows",
            errorOf("  - expect:\n      - picture: p.png\n"));
    EXPECT_EQ("", errorOf("  - call: drawSubDisplay\n    with: {picture: p.png}\n"));
}

TEST_F(PictureTest, AreNotMany) {
    mFolder.write("p.png", png(kSide, kSide, 0, 0));
    std::string steps = "  - expect:\n";
    for (int i = 0; i < 100; ++i) steps += "      - picture: p.png\n";
    EXPECT_EQ("", errorOf(steps));
    EXPECT_EQ("s.yaml:105:18: a scenario has at most 100 pictures",
              errorOf(steps + "      - picture: p.png\n"));
}

TEST_F(PictureTest, NothingElseIsDrawn) {
    EXPECT_EQ("s.yaml:5:12: \"pictur\" is no way to give a frame: did you mean picture?",
              errorOf("  - call: drawSubDisplay\n    with: {pictur: p.png}\n"));
    EXPECT_EQ("s.yaml:5:11: \"with\" must be a list of arguments, such as [128]",
              errorOf("  - call: setBrightness\n    with: {picture: p.png}\n"));
}

}  // namespace
}  // namespace play
