// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/picture/Scale.h"

#include <gmock/gmock.h>

#include <vector>

using picture::fit;
using picture::Picture;
using picture::Size;
using picture::stretch;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

struct Case {
    Picture from;
    Picture to;
};

Picture plain(Size size, uint8_t grey) {
    return {size, std::vector<uint8_t>(size.pixels(), grey)};
}

}  // namespace

TEST(StretchTest, TakesTheMeanOfWhatAPixelCovers) {
    const Case cases[] = {
            {{{1, 1}, {7}}, {{1, 1}, {7}}},
            {{{2, 2}, {1, 2, 3, 4}}, {{2, 2}, {1, 2, 3, 4}}},
            {{{2, 2}, {0, 255, 255, 0}}, {{1, 1}, {128}}},
            {{{4, 2}, {0, 10, 20, 30, 40, 50, 60, 70}}, {{2, 1}, {25, 45}}},
            // One and a half pixels each.
            {{{3, 1}, {0, 90, 255}}, {{2, 1}, {30, 200}}},
            {{{1, 3}, {0, 90, 255}}, {{1, 2}, {30, 200}}},
            {{{2, 1}, {0, 255}}, {{4, 2}, {0, 0, 255, 255, 0, 0, 255, 255}}},
            {{{2, 1}, {0, 255}}, {{3, 1}, {0, 128, 255}}},
            {{{4, 1}, {0, 0, 200, 200}}, {{2, 2}, {0, 200, 0, 200}}},
    };
    for (const Case& it : cases) {
        const Picture scaled = stretch(it.from, it.to.size);
        EXPECT_EQ(it.to.size, scaled.size);
        EXPECT_THAT(scaled.pixels, ElementsAreArray(it.to.pixels));
    }
}

TEST(StretchTest, APlainPictureStaysPlainInEverySize) {
    for (size_t from = 1; from < 12; ++from) {
        for (size_t to = 1; to < 12; ++to) {
            const Picture scaled = stretch(plain({from, 12 - from}, 201), {to, 5});
            EXPECT_EQ((Size{to, 5}), scaled.size);
            EXPECT_THAT(scaled.pixels, Each(201)) << from << " to " << to;
        }
    }
}

TEST(StretchTest, ALongPictureKeepsItsMean) {
    Picture line = plain({100000, 1}, 0);
    for (size_t x = 0; x < line.size.width; x += 2) line.at(x, 0) = 200;
    EXPECT_THAT(stretch(line, {2, 1}).pixels, ElementsAre(100, 100));
}

TEST(FitTest, BarsKeepTheProportions) {
    EXPECT_THAT(fit(plain({2, 1}, 9), {4, 4}).pixels,
                ElementsAre(0, 0, 0, 0, 9, 9, 9, 9, 9, 9, 9, 9, 0, 0, 0, 0));
    EXPECT_THAT(fit(plain({1, 2}, 9), {4, 4}).pixels,
                ElementsAre(0, 9, 9, 0, 0, 9, 9, 0, 0, 9, 9, 0, 0, 9, 9, 0));
}

TEST(FitTest, ThereAreNoBarsWhereTheProportionsAgree) {
    EXPECT_EQ(stretch({{2, 1}, {1, 2}}, {8, 4}), fit({{2, 1}, {1, 2}}, {8, 4}));
}

TEST(FitTest, AThinPictureIsStillToBeSeen) {
    EXPECT_THAT(fit(plain({1000, 1}, 9), {2, 3}).pixels, ElementsAre(0, 0, 9, 9, 0, 0));
    EXPECT_THAT(fit(plain({1, 1000}, 9), {3, 1}).pixels, ElementsAre(0, 9, 0));
}

TEST(FitTest, EverySizeIsFilledExactly) {
    for (size_t width = 1; width < 9; ++width) {
        for (size_t height = 1; height < 9; ++height) {
            const Picture fitted = fit(plain({5, 3}, 9), {width, height});
            EXPECT_EQ((Size{width, height}), fitted.size);
            EXPECT_EQ(width * height, fitted.pixels.size());
            EXPECT_THAT(fitted.pixels, testing::Contains(9));
        }
    }
}
