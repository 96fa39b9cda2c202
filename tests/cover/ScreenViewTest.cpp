// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The colour in which pictures of the cover show its screen.

#include "emulator/cover/ScreenView.h"

#include <gtest/gtest.h>

namespace cover {
namespace {

constexpr ScreenView kLit = {
        .on = true, .brightness = 255, .rgb = {2, 0, 0, 0}, .tune = {2, 2, 2}, .mode = 0};

ScreenView with(void (*change)(ScreenView& view)) {
    ScreenView view = kLit;
    change(view);
    return view;
}

// So that a failure shows the numbers.
std::string text(const ScreenView& view) {
    const Colour colour = colourOf(view);
    return std::to_string(colour.red) + " " + std::to_string(colour.green) + " " +
           std::to_string(colour.blue);
}

TEST(ScreenViewTest, IsWhiteAtFullBrightnessAndBlackWhenOff) {
    EXPECT_EQ(text(kLit), "255 255 255");
    EXPECT_EQ(text(with([](ScreenView& view) { view.on = false; })), "0 0 0");
}

TEST(ScreenViewTest, IsDarkerWithLessBrightness) {
    EXPECT_EQ(text(with([](ScreenView& view) { view.brightness = 0; })), "56 56 56");
    EXPECT_EQ(text(with([](ScreenView& view) { view.brightness = 128; })), "175 175 175");
    EXPECT_EQ(text(with([](ScreenView& view) { view.brightness = 9999; })), "255 255 255");
}

TEST(ScreenViewTest, ShowsWhichColourLeads) {
    EXPECT_EQ(text(with([](ScreenView& view) { view.rgb = {1, 100, 0, 40}; })), "255 180 210");
    EXPECT_EQ(text(with([](ScreenView& view) { view.rgb = {1, 7, 7, 7}; })), "255 255 255");
    EXPECT_EQ(text(with([](ScreenView& view) {
                  view.rgb = {1, INT32_MAX, INT32_MIN, 0};
              })),
              "255 64 64");
}

TEST(ScreenViewTest, ShowsSaturationAndMode) {
    EXPECT_EQ(text(with([](ScreenView& view) {
                  view.rgb = {1, 100, 0, 0};
                  view.tune = {0, 2, 2};
              })),
              "230 193 193");
    EXPECT_EQ(text(with([](ScreenView& view) { view.mode = 1; })), "255 255 191");
    EXPECT_EQ(text(with([](ScreenView& view) { view.mode = 3; })), "255 255 223");
    EXPECT_EQ(text(with([](ScreenView& view) {
                  view.rgb = {1, 100, 0, 0};
                  view.mode = 2;
              })),
              "255 168 168");
    EXPECT_EQ(text(with([](ScreenView& view) { view.mode = 99; })), "255 255 255");
}

}  // namespace
}  // namespace cover
