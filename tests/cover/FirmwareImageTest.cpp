// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Which image the phone's driver writes into a cover, by the images' file names.
#include "emulator/cover/FirmwareImage.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace cover {
namespace {

using Names = std::vector<std::string>;

TEST(ImageName, IsItsVersionAndAnExtension) {
    EXPECT_EQ(versionOfImage("AB-2_20220101.dfu"), "AB-2_20220101");
    EXPECT_EQ(versionOfImage("x.dfu.dfu"), "x.dfu");
    EXPECT_EQ(versionOfImage(".dfu"), "");
}

TEST(ImageName, HasNoOtherExtension) {
    for (const char* name : {"", "AB-2", "AB-2.dfu.bak", "AB-2.DFU", "dfu", "AB-2_xdfu"}) {
        EXPECT_EQ(versionOfImage(name), std::nullopt) << name;
    }
}

TEST(ImageChoice, IsTheNewestOfTheCoversLineInAnyOrder) {
    Names names = {"AB-3_a.dfu", "AC-9_b.dfu", "AB-4_c.dfu", "AB-5_d.txt", "AB-2_e.dfu"};
    std::sort(names.begin(), names.end());
    do {
        ASSERT_EQ(chooseImage(names, "AB-1_20210312"), "AB-4_c.dfu");
    } while (std::next_permutation(names.begin(), names.end()));
}

TEST(ImageChoice, MayBeOlderThanTheCover) {
    EXPECT_EQ(chooseImage({"AB-1_x.dfu"}, "AB-2_y"), "AB-1_x.dfu");
}

TEST(ImageChoice, ComparesKeysAsBytes) {
    EXPECT_EQ(chooseImage({"AB-9_x.dfu", "AB-10_x.dfu"}, "AB-1"), "AB-9_x.dfu");
    EXPECT_EQ(chooseImage({"AB-1k_x.dfu", "AB-1_x.dfu"}, "AB-1"), "AB-1k_x.dfu");
}

TEST(ImageChoice, OfEqualKeysIsTheGreatestName) {
    EXPECT_EQ(chooseImage({"AB-1_b.dfu", "AB-1_c.dfu", "AB-1_a.dfu"}, "AB-1"), "AB-1_c.dfu");
}

TEST(ImageChoice, IsNothingWithoutAnImageOfTheLine) {
    EXPECT_EQ(chooseImage({}, "AB-1"), std::nullopt);
    EXPECT_EQ(chooseImage({"AC-1_x.dfu", "ABC-1_x.dfu", "A-1_x.dfu"}, "AB-1"), std::nullopt);
}

TEST(ImageChoice, TakesNamesAndVersionsWithoutTheirSigns) {
    EXPECT_EQ(chooseImage({"AB.dfu"}, "AB.dfu-1"), "AB.dfu");
    EXPECT_EQ(chooseImage({"-1_x.dfu"}, "-0"), "-1_x.dfu");
    EXPECT_EQ(chooseImage({"AB-1.dfu"}, ""), std::nullopt);
}

}  // namespace
}  // namespace cover
