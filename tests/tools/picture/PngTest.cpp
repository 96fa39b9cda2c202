// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/picture/Png.h"

#include <gmock/gmock.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/tools/picture/PngFile.h"

using namespace std::string_literals;
using picture::decodePng;
using picture::NoPicture;
using picture::Picture;
using picture::Size;
using testing::ElementsAreArray;
using testing::HasSubstr;

namespace {

struct Kind {
    const char* name;
    PngFile file;
    std::vector<uint8_t> grey;
};

void PrintTo(const Kind& kind, std::ostream* out) {
    *out << kind.name;
}

const Kind kKinds[] = {
        {"Grey1", {4, 2, 1, PNG_COLOR_TYPE_GRAY, "\xa0\x50"}, {255, 0, 255, 0, 0, 255, 0, 255}},
        {"Grey2", {4, 1, 2, PNG_COLOR_TYPE_GRAY, "\x1b"}, {0, 85, 170, 255}},
        {"Grey4", {3, 1, 4, PNG_COLOR_TYPE_GRAY, "\x15\xf0"}, {17, 85, 255}},
        {"Grey8", {3, 1, 8, PNG_COLOR_TYPE_GRAY, "\x01\x80\xff"}, {1, 128, 255}},
        {"Grey16", {3, 1, 16, PNG_COLOR_TYPE_GRAY, "\x11\x11\x80\x80\xff\xff"}, {17, 128, 255}},
        {"GreyAlpha8",
         {3, 1, 8, PNG_COLOR_TYPE_GRAY_ALPHA, "\xff\x00\x44\xff\xff\xff"s},
         {0, 68, 255}},
        {"GreyAlpha16",
         {2, 1, 16, PNG_COLOR_TYPE_GRAY_ALPHA, "\xff\xff\x00\x00\x44\x44\xff\xff"s},
         {0, 68}},
        {"Rgb8", {2, 1, 8, PNG_COLOR_TYPE_RGB, "\x33\x33\x33\xff\xff\xff"}, {51, 255}},
        {"Rgb16", {1, 1, 16, PNG_COLOR_TYPE_RGB, "\x33\x33\x33\x33\x33\x33"}, {51}},
        {"Rgba8",
         {2, 1, 8, PNG_COLOR_TYPE_RGB_ALPHA, "\xff\xff\xff\x00\x66\x66\x66\xff"s},
         {0, 102}},
        {"Rgba16", {1, 1, 16, PNG_COLOR_TYPE_RGB_ALPHA, "\x66\x66\x66\x66\x66\x66\xff\xff"}, {102}},
        {"Palette2",
         {4,
          1,
          2,
          PNG_COLOR_TYPE_PALETTE,
          "\x1b",
          false,
          {{0, 0, 0}, {34, 34, 34}, {221, 221, 221}, {255, 255, 255}}},
         {0, 34, 221, 255}},
        {"Palette8",
         {2, 1, 8, PNG_COLOR_TYPE_PALETTE, "\x01\x00"s, false, {{17, 17, 17}, {238, 238, 238}}},
         {238, 17}},
        {"PaletteAlpha",
         {2,
          1,
          8,
          PNG_COLOR_TYPE_PALETTE,
          "\x00\x01"s,
          false,
          {{255, 255, 255}, {238, 238, 238}},
          {0, 255}},
         {0, 238}},
};

class PngKindTest : public testing::TestWithParam<Kind> {};

std::vector<uint8_t> allGreys() {
    std::vector<uint8_t> greys;
    for (int grey = 0; grey < 256; ++grey) greys.push_back(static_cast<uint8_t>(grey));
    return greys;
}

const PngFile kSquare = greyPng(16, 16, allGreys());

std::string complaintAbout(const std::string& bytes, size_t mostPixels = picture::kMostPixels) {
    try {
        decodePng(bytes, mostPixels);
        return "";
    } catch (const NoPicture& none) {
        return none.what();
    }
}

}  // namespace

TEST_P(PngKindTest, GivesItsGreys) {
    const PngFile& file = GetParam().file;
    const Picture picture = decodePng(file.encode());
    EXPECT_EQ((Size{file.width, file.height}), picture.size);
    EXPECT_THAT(picture.pixels, ElementsAreArray(GetParam().grey));
}

TEST_P(PngKindTest, IsTheSameInterlaced) {
    PngFile file = GetParam().file;
    file.interlaced = true;
    EXPECT_THAT(decodePng(file.encode()).pixels, ElementsAreArray(GetParam().grey));
}

INSTANTIATE_TEST_SUITE_P(All, PngKindTest, testing::ValuesIn(kKinds),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(PngTest, EveryGreyStaysWhatItIs) {
    EXPECT_THAT(decodePng(kSquare.encode()).pixels, ElementsAreArray(allGreys()));
}

TEST(PngTest, AnInterlacedPictureIsPutTogether) {
    PngFile file = kSquare;
    file.interlaced = true;
    EXPECT_EQ(decodePng(kSquare.encode()), decodePng(file.encode()));
}

TEST(PngTest, ColoursBecomeAsBrightAsTheyLook) {
    const PngFile file = {3, 1, 8, PNG_COLOR_TYPE_RGB, "\xff\0\0\0\xff\0\0\0\xff"s};
    const Picture picture = decodePng(file.encode());
    EXPECT_GT(picture.at(1, 0), picture.at(0, 0));
    EXPECT_GT(picture.at(0, 0), picture.at(2, 0));
    EXPECT_GT(picture.at(2, 0), 0);
}

TEST(PngTest, HalfTransparentWhiteIsGreyOverBlack) {
    const PngFile file = {1, 1, 8, PNG_COLOR_TYPE_GRAY_ALPHA, "\xff\x80"};
    const uint8_t grey = decodePng(file.encode()).at(0, 0);
    EXPECT_GT(grey, 0);
    EXPECT_LT(grey, 255);
}

TEST(PngTest, AnAnimationIsThePictureThatStandsForIt) {
    const std::string still = kSquare.encode();
    EXPECT_EQ(decodePng(still), decodePng(animated(still, "nothing that can be unpacked")));
}

TEST(PngTest, ATruncatedPictureIsRefusedOrWhole) {
    const std::string whole = kSquare.encode();
    const Picture picture = decodePng(whole);
    for (size_t length = 0; length < whole.size(); ++length) {
        try {
            EXPECT_EQ(picture, decodePng(whole.substr(0, length))) << length;
            EXPECT_GT(length, whole.size() / 2);
        } catch (const NoPicture& none) {
            EXPECT_THAT(none.what(), HasSubstr("is no good PNG: "));
        }
    }
}

TEST(PngTest, ADamagedPictureIsRefusedOrOfItsSize) {
    const std::string whole = kSquare.encode();
    for (size_t at = 0; at < whole.size(); ++at) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x55);
        try {
            EXPECT_EQ((Size{16, 16}), decodePng(damaged).size) << at;
        } catch (const NoPicture& none) {
            EXPECT_THAT(none.what(), HasSubstr("is no good PNG: "));
        }
    }
}

TEST(PngTest, OtherFilesAreRefused) {
    for (const std::string& bytes : {""s, "GIF89a"s, "\x89PNG"s, "\x89PNG\r\n\x1a\n"s,
                                     std::string(1000, '\0'), std::string(1000, '\xff')}) {
        EXPECT_THAT(complaintAbout(bytes), HasSubstr("is no good PNG: "));
    }
}

TEST(PngTest, APictureWithoutPixelsIsRefused) {
    EXPECT_NE("", complaintAbout(withSize(kSquare.encode(), 0, 16)));
    EXPECT_NE("", complaintAbout(withSize(kSquare.encode(), 16, 0)));
}

TEST(PngTest, AHugePictureIsRefusedWithItsSize) {
    EXPECT_EQ("is too large: 65535 x 65535 pixels, of which at most 67108864 can be read",
              complaintAbout(withSize(kSquare.encode(), 65535, 65535)));
    EXPECT_NE("", complaintAbout(withSize(kSquare.encode(), 0x7fffffff, 0x7fffffff)));
    EXPECT_NE("", complaintAbout(withSize(kSquare.encode(), 0xffffffff, 1)));
}

TEST(PngTest, TheLimitItselfCanBeRead) {
    EXPECT_EQ("", complaintAbout(kSquare.encode(), 256));
    EXPECT_THAT(complaintAbout(kSquare.encode(), 255), HasSubstr("is too large"));
}

TEST(PngTest, AHeaderThatPromisesMoreThanThereIsIsRefused) {
    EXPECT_NE("", complaintAbout(withSize(kSquare.encode(), 16, 4000)));
}
