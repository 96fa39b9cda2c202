// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The sub display's panel: reports in, a picture out.
#include <gtest/gtest.h>

#include "emulator/cover/Panel.h"

namespace cover {
namespace {

using namespace std::string_literals;

// Output report 2 as it comes over the bus.
std::string palette(uint32_t offset, const std::string& pixels) {
    const auto byte = [](uint32_t value) { return static_cast<char>(value & 0xff); };
    const auto size = static_cast<uint32_t>(pixels.size());
    const char header[] = {2,
                           byte(size),
                           byte(size >> 8),
                           byte(offset),
                           byte(offset >> 8),
                           byte(offset >> 16),
                           byte(offset >> 24)};
    return std::string(header, sizeof(header)) + pixels;
}

const std::string kEnd = palette(0, "");

class PanelTest : public testing::Test {
  protected:
    PanelTest() {
        panel.setOptions({4, 2, 4, 1});
        panel.powerUp();
        EXPECT_TRUE(panel.setFeature("\3\2\132"));
    }

    std::vector<uint8_t> levels() const { return panel.picture().value_or(Picture()).levels; }

    Panel panel;
};

TEST_F(PanelTest, TellsItsSizeFormatAndReadiness) {
    panel.setOptions({0x1234, 0xabcd, 7, 3});
    EXPECT_EQ(panel.feature(2), "\2\x34\x12\xcd\xab\7\3");
}

TEST_F(PanelTest, ClaimsAnySize) {
    panel.setOptions({0, 0, 0, 0});
    EXPECT_EQ(panel.feature(2), "\2\0\0\0\0\0\0"s);
    panel.setOptions({65535, 65535, 255, 255});
    EXPECT_EQ(panel.feature(2), "\2\xff\xff\xff\xff\xff\xff");
}

TEST_F(PanelTest, OtherFeatureReportsAreRefused) {
    EXPECT_EQ(panel.feature(3), std::nullopt);
    EXPECT_EQ(panel.feature(0), std::nullopt);
    EXPECT_EQ(panel.state().refused, 2u);
}

TEST_F(PanelTest, IsOffUntilItIsConfigured) {
    panel.powerUp();
    EXPECT_EQ(panel.state(), PanelState());
    EXPECT_TRUE(panel.setFeature("\3\2\132"));
    EXPECT_TRUE(panel.state().on);
    EXPECT_FALSE(panel.state().flag);
    EXPECT_EQ(panel.state().brightness, 90);
    EXPECT_TRUE(panel.setFeature("\3\1\0"s));
    EXPECT_FALSE(panel.state().on);
    EXPECT_TRUE(panel.state().flag);
    EXPECT_EQ(panel.state().brightness, 0);
}

TEST_F(PanelTest, ConfigurationOfAnotherSizeOrNumberChangesNothing) {
    for (const std::string& report : {""s, "\3"s, "\3\0"s, "\3\0\0\0"s, "\2\0\0"s}) {
        EXPECT_FALSE(panel.setFeature(report)) << report.size();
    }
    EXPECT_TRUE(panel.state().on);
    EXPECT_EQ(panel.state().refused, 5u);
}

// Memory runs from the last pair of pixels to the first; within a pair the left one is high.
TEST_F(PanelTest, ShowsTheFrameUpright) {
    ASSERT_TRUE(panel.write(palette(0, "\x78\x56\x34\x12")));
    ASSERT_TRUE(panel.write(kEnd));
    const std::optional<Picture> picture = panel.picture();
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->width, 4);
    EXPECT_EQ(picture->height, 2);
    EXPECT_EQ(picture->levels, (std::vector<uint8_t>{1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST_F(PanelTest, ShowsNothingNewBeforeTheEmptyReport) {
    ASSERT_TRUE(panel.write(palette(0, "\x78\x56\x34\x12")));
    EXPECT_EQ(levels(), std::vector<uint8_t>(8, 0));
    EXPECT_EQ(panel.state().frames, 0u);
    ASSERT_TRUE(panel.write(kEnd));
    EXPECT_EQ(panel.state().frames, 1u);
    EXPECT_NE(levels(), std::vector<uint8_t>(8, 0));
}

TEST_F(PanelTest, PutsReportsWhereTheirOffsetsSay) {
    ASSERT_TRUE(panel.write(palette(2, "\x34\x12")));
    ASSERT_TRUE(panel.write(palette(0, "\x78\x56")));
    ASSERT_TRUE(panel.write(kEnd));
    EXPECT_EQ(levels(), (std::vector<uint8_t>{1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST_F(PanelTest, KeepsWhatArrivedOfAReportThatIsCutShort) {
    ASSERT_TRUE(panel.write(palette(0, "\x11\x22\x33\x44"), 9));
    ASSERT_TRUE(panel.write(palette(2, "\x55\x66\x77\x88"), 7));
    ASSERT_TRUE(panel.write(palette(0, "\x99"), 3));
    ASSERT_TRUE(panel.write(kEnd));
    EXPECT_EQ(levels(), (std::vector<uint8_t>{0, 0, 0, 0, 2, 2, 1, 1}));
}

TEST_F(PanelTest, EndThatDoesNotArriveEndsNoFrame) {
    ASSERT_TRUE(panel.write(kEnd, 6));
    EXPECT_EQ(panel.state().frames, 0u);
}

TEST_F(PanelTest, TakesAFrameOfThreeReportsIntoAllOfItsMemory) {
    panel.setOptions({128, 128, 4, 1});
    ASSERT_TRUE(panel.write(palette(0, std::string(4089, '\x11'))));
    ASSERT_TRUE(panel.write(palette(4089, std::string(4089, '\x22'))));
    ASSERT_TRUE(panel.write(palette(8178, std::string(14, '\x33'))));
    ASSERT_TRUE(panel.write(kEnd));
    const std::vector<uint8_t> all = levels();
    ASSERT_EQ(all.size(), 16384u);
    EXPECT_EQ(all.front(), 3);
    EXPECT_EQ(all[27], 3);
    EXPECT_EQ(all[28], 2);
    EXPECT_EQ(all.back(), 1);
    EXPECT_EQ(panel.state().reports, 5u);
}

TEST_F(PanelTest, RefusesReportsThatContradictThemselves) {
    std::string longer = palette(0, "\x11\x22");
    longer[1] = 3;
    std::string shorter = palette(0, "\x11\x22");
    shorter[1] = 1;
    std::string other = palette(0, "\x11");
    other[0] = 3;
    for (const std::string& report : {longer, shorter, other, ""s, "\2"s, kEnd.substr(0, 6),
                                      palette(0, std::string(4090, '\x11'))}) {
        EXPECT_FALSE(panel.write(report)) << report.size();
    }
    EXPECT_EQ(panel.state().refused, 7u);
    EXPECT_EQ(panel.state().frames, 0u);
}

TEST_F(PanelTest, RefusesPixelsOutsideItsMemory) {
    EXPECT_TRUE(panel.write(palette(8191, "\x11")));
    EXPECT_FALSE(panel.write(palette(8191, "\x11\x22")));
    EXPECT_FALSE(panel.write(palette(8193, "")));
    EXPECT_FALSE(panel.write(palette(0xffffffff, "\x11")));
}

TEST_F(PanelTest, IsBlackWhileItIsOff) {
    ASSERT_TRUE(panel.write(palette(0, "\xff\xff\xff\xff")));
    ASSERT_TRUE(panel.write(kEnd));
    EXPECT_EQ(levels(), std::vector<uint8_t>(8, 15));
    ASSERT_TRUE(panel.setFeature("\3\0\0"s));
    EXPECT_EQ(levels(), std::vector<uint8_t>(8, 0));
    ASSERT_TRUE(panel.setFeature("\3\2\1"));
    EXPECT_EQ(levels(), std::vector<uint8_t>(8, 15));
}

TEST_F(PanelTest, ForgetsEverythingButItsOptionsAtPowerUp) {
    ASSERT_TRUE(panel.write(palette(0, "\xff\xff\xff\xff")));
    ASSERT_TRUE(panel.write(kEnd));
    panel.powerUp();
    EXPECT_EQ(panel.state(), PanelState());
    ASSERT_TRUE(panel.setFeature("\3\2\1"));
    EXPECT_EQ(levels(), std::vector<uint8_t>(8, 0));
}

TEST_F(PanelTest, HasAPictureOfAnySizeThatFitsItsMemory) {
    panel.setOptions({0, 65535, 4, 1});
    EXPECT_EQ(levels().size(), 0u);
    ASSERT_TRUE(panel.picture());
    panel.setOptions({16384, 1, 4, 1});
    EXPECT_EQ(levels().size(), 16384u);
    for (const PanelOptions& options : {PanelOptions{16385, 1}, PanelOptions{65535, 65535}}) {
        panel.setOptions(options);
        EXPECT_FALSE(panel.picture()) << options.width;
    }
}

TEST_F(PanelTest, LastPixelOfAnOddNumberIsNotSentAndStaysBlack) {
    panel.setOptions({3, 1, 4, 1});
    ASSERT_TRUE(panel.write(palette(0, "\x12\x34")));
    ASSERT_TRUE(panel.write(kEnd));
    EXPECT_EQ(levels(), (std::vector<uint8_t>{1, 2, 0}));
}

}  // namespace
}  // namespace cover
