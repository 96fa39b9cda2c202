// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/picture/Levels.h"

#include <gmock/gmock.h>

#include <numeric>
#include <vector>

using picture::black;
using picture::ditherToLevels;
using picture::greyOf;
using picture::kLevels;
using picture::Picture;
using picture::roundToLevels;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::Ge;
using testing::Le;

namespace {

Picture plain(uint8_t grey) {
    return {{32, 32}, std::vector<uint8_t>(32 * 32, grey)};
}

// Every level beside every other one.
Picture mosaic() {
    Picture picture = black({kLevels, kLevels});
    for (size_t y = 0; y < kLevels; ++y) {
        for (size_t x = 0; x < kLevels; ++x) {
            picture.at(x, y) = greyOf(static_cast<uint8_t>((x * 7 + y * 5) % kLevels));
        }
    }
    return picture;
}

std::vector<uint8_t> levelsOf(const Picture& picture) {
    std::vector<uint8_t> levels;
    for (const uint8_t grey : picture.pixels) levels.push_back(grey / 17);
    return levels;
}

double mean(const std::vector<uint8_t>& levels) {
    return std::accumulate(levels.begin(), levels.end(), 0.0) / static_cast<double>(levels.size());
}

}  // namespace

TEST(LevelsTest, BlackAndWhiteAreTheEnds) {
    EXPECT_EQ(0, greyOf(0));
    EXPECT_EQ(255, greyOf(kLevels - 1));
}

TEST(LevelsTest, APictureOfThe16GreysIsUnchanged) {
    const Picture picture = mosaic();
    EXPECT_THAT(roundToLevels(picture), ElementsAreArray(levelsOf(picture)));
    EXPECT_THAT(ditherToLevels(picture), ElementsAreArray(levelsOf(picture)));
}

TEST(RoundToLevelsTest, TakesTheNearest) {
    EXPECT_THAT(roundToLevels({{8, 1}, {0, 8, 9, 25, 26, 127, 128, 255}}),
                ElementsAre(0, 0, 1, 1, 2, 7, 8, 15));
}

TEST(DitherToLevelsTest, KeepsTheMeanOfEveryGrey) {
    for (int grey = 0; grey < 256; ++grey) {
        const double wanted = grey / 17.0;
        EXPECT_NEAR(wanted, mean(ditherToLevels(plain(static_cast<uint8_t>(grey)))), 0.05) << grey;
    }
}

TEST(DitherToLevelsTest, APlainGreyUsesItsTwoNeighboursOnly) {
    EXPECT_THAT(ditherToLevels(plain(110)), Each(AllOf(Ge(6), Le(7))));
}

TEST(DitherToLevelsTest, NeverLeavesTheLevels) {
    Picture stripes = black({33, 17});
    for (size_t i = 0; i < stripes.pixels.size(); ++i) stripes.pixels[i] = i % 3 == 0 ? 248 : 7;
    EXPECT_THAT(ditherToLevels(stripes), Each(Le(kLevels - 1)));
}

TEST(DitherToLevelsTest, AsManyLevelsAsPixels) {
    EXPECT_THAT(ditherToLevels({{1, 1}, {200}}), ElementsAre(12));
    EXPECT_EQ(3u, ditherToLevels({{1, 3}, {1, 2, 3}}).size());
    EXPECT_EQ(3u, ditherToLevels({{3, 1}, {1, 2, 3}}).size());
}
