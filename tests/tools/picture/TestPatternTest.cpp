// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/picture/TestPattern.h"

#include <gmock/gmock.h>

#include <set>

#include "tools/picture/Levels.h"

using picture::Picture;
using picture::Size;
using picture::testPattern;

namespace {

const Size kPanel = {128, 96};

}  // namespace

TEST(TestPatternTest, TheEdgesAreWhite) {
    const Picture pattern = testPattern(kPanel);
    for (size_t x = 0; x < kPanel.width; ++x) {
        EXPECT_EQ(255, pattern.at(x, 0));
        EXPECT_EQ(255, pattern.at(x, kPanel.height - 1));
    }
    for (size_t y = 0; y < kPanel.height; ++y) {
        EXPECT_EQ(255, pattern.at(0, y));
        EXPECT_EQ(255, pattern.at(kPanel.width - 1, y));
    }
}

TEST(TestPatternTest, AllLevelsStandFromDarkToLight) {
    const Picture pattern = testPattern(kPanel);
    std::set<int> levels;
    for (size_t x = 1; x + 1 < kPanel.width; ++x) {
        const int grey = pattern.at(x, kPanel.height / 2);
        EXPECT_TRUE(levels.empty() || grey >= *levels.rbegin()) << x;
        levels.insert(grey);
    }
    EXPECT_EQ(16u, levels.size());
    EXPECT_EQ(0, *levels.begin());
    EXPECT_EQ(255, *levels.rbegin());
}

TEST(TestPatternTest, OnlyTheUpperLeftCornerIsWhiteWithin) {
    const Picture pattern = testPattern(kPanel);
    EXPECT_EQ(255, pattern.at(3, 3));
    EXPECT_EQ(0, pattern.at(3, kPanel.height - 4));
    // The right-hand side is white anyway, down to the border.
    EXPECT_EQ(pattern.at(kPanel.width - 20, 3), pattern.at(kPanel.width - 20, kPanel.height - 4));
}

TEST(TestPatternTest, EverySizeIsFilledExactly) {
    for (size_t width = 1; width < 24; ++width) {
        for (size_t height = 1; height < 8; ++height) {
            const Picture pattern = testPattern({width, height});
            EXPECT_EQ(width * height, pattern.pixels.size());
            EXPECT_EQ(255, pattern.at(width - 1, height - 1));
        }
    }
}
