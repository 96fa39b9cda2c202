// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/picture/Lettering.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>

using picture::kDefaultFont;
using picture::letter;
using picture::NoPicture;
using picture::Picture;
using picture::Size;
using testing::Contains;
using testing::Each;
using testing::HasSubstr;

namespace {

const Size kPanel = {128, 96};

// The smallest rectangle that holds all that is not black.
struct Ink {
    explicit Ink(const Picture& picture)
        : left(picture.size.width), top(picture.size.height), right(0), bottom(0) {
        for (size_t y = 0; y < picture.size.height; ++y) {
            for (size_t x = 0; x < picture.size.width; ++x) {
                if (picture.at(x, y) == 0) continue;
                left = std::min(left, x);
                top = std::min(top, y);
                right = std::max(right, x + 1);
                bottom = std::max(bottom, y + 1);
            }
        }
    }
    size_t width() const { return right - left; }
    size_t height() const { return bottom - top; }

    size_t left, top, right, bottom;
};

std::string complaintAbout(std::u32string_view text, const std::string& font, Size size) {
    try {
        letter(text, font, size);
        return "";
    } catch (const NoPicture& none) {
        return none.what();
    }
}

}  // namespace

TEST(LetteringTest, TheTextIsWhiteOnBlackInTheMiddle) {
    const Picture picture = letter(U"HH", kDefaultFont, kPanel);
    EXPECT_EQ(kPanel, picture.size);
    EXPECT_THAT(picture.pixels, Contains(255));
    const Ink ink(picture);
    EXPECT_NEAR(static_cast<double>(ink.left), static_cast<double>(kPanel.width - ink.right), 2);
    EXPECT_NEAR(static_cast<double>(ink.top), static_cast<double>(kPanel.height - ink.bottom), 6);
}

TEST(LetteringTest, AShortTextTakesAtMostAThirdOfTheHeight) {
    const Ink ink(letter(U"Hg", kDefaultFont, kPanel));
    EXPECT_LE(ink.height(), kPanel.height / 3);
    EXPECT_GT(ink.height(), kPanel.height / 6);
}

TEST(LetteringTest, ALongerTextIsSmallerAndStillFits) {
    const Ink shorter(letter(U"HHHH", kDefaultFont, kPanel));
    const Ink longer(letter(U"HHHHHHHHHHHHHHHH", kDefaultFont, kPanel));
    EXPECT_LT(longer.height(), shorter.height());
    EXPECT_GT(longer.width(), kPanel.width / 2);
    EXPECT_GT(longer.left, 0u);
    EXPECT_LT(longer.right, kPanel.width);
}

TEST(LetteringTest, EveryLetterIsDrawn) {
    EXPECT_NE(letter(U"HiH", kDefaultFont, kPanel), letter(U"HjH", kDefaultFont, kPanel));
    EXPECT_NE(letter(U"\u00e9", kDefaultFont, kPanel), letter(U"e", kDefaultFont, kPanel));
}

TEST(LetteringTest, BlanksAreBlack) {
    EXPECT_THAT(letter(U"  ", kDefaultFont, kPanel).pixels, Each(0));
}

TEST(LetteringTest, ALetterThatTheFontLacksIsNamed) {
    const std::pair<char32_t, const char*> lacking[] = {
            {U'\u0007', "\"\x07\" (U+0007)"},
            {U'\u07b2', "\"\xde\xb2\" (U+07B2)"},
            {U'\u6f22', "\"\xe6\xbc\xa2\" (U+6F22)"},
            {U'\U0010fffd', "\"\xf4\x8f\xbf\xbd\" (U+10FFFD)"},
    };
    for (const auto& [character, name] : lacking) {
        const std::u32string text = {U'a', U'\u00e9', character, U'\U0010fffc'};
        EXPECT_EQ("the font \"" + std::string(kDefaultFont) + "\" has no letter " + name +
                          "; name another with --font",
                  complaintAbout(text, kDefaultFont, kPanel));
    }
}

// Whether it would have fitted is of no interest then.
TEST(LetteringTest, ALongTextWithALetterThatTheFontLacksNamesIt) {
    EXPECT_THAT(complaintAbout(std::u32string(1000, U'W') + U"\u6f22", kDefaultFont, kPanel),
                HasSubstr("(U+6F22)"));
}

TEST(LetteringTest, ATextThatCannotBeReadInThatSizeIsRefused) {
    EXPECT_EQ("the text cannot be written legibly on a panel of 128 x 96 pixels",
              complaintAbout(std::u32string(100, U'W'), kDefaultFont, kPanel));
    EXPECT_THAT(complaintAbout(U"W", kDefaultFont, {128, 4}), HasSubstr("128 x 4 pixels"));
    EXPECT_THAT(complaintAbout(U"W", kDefaultFont, {1, 96}), HasSubstr("1 x 96 pixels"));
}

TEST(LetteringTest, LargeAndFlatPanelsAreFilledExactly) {
    for (const Size size : {Size{6553, 10}, Size{2000, 30}, Size{15, 4000}, Size{9, 9}}) {
        const Picture picture = letter(U"i", kDefaultFont, size);
        EXPECT_EQ(size.pixels(), picture.pixels.size());
        EXPECT_THAT(picture.pixels, Contains(testing::Gt(0)));
    }
}

TEST(LetteringTest, AFontThatCannotBeReadIsToldWithTheRemedy) {
    EXPECT_THAT(complaintAbout(U"a", "/absent.ttf", kPanel), HasSubstr("fonts-dejavu-core"));
    EXPECT_THAT(complaintAbout(U"a", "/dev/null", kPanel), HasSubstr("\"/dev/null\" is no font"));
    EXPECT_THAT(complaintAbout(U"a", "/", kPanel), HasSubstr("--font"));
}
