// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the cover's screen shows.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "emulator/cover/Types.h"

namespace cover {

struct ScreenView {
    bool on = false;  // switched on, and the panel is up; otherwise it is dark
    int brightness = 0;
    std::array<int32_t, 4> rgb{};
    std::array<int32_t, 3> tune{};
    int32_t mode = 0;

    bool operator==(const ScreenView&) const = default;
};

ScreenView viewOf(const State& state);

// A colour of 8 bits each, as displays of people's machines show it.
struct Colour {
    uint8_t red = 0;
    uint8_t green = 0;
    uint8_t blue = 0;

    bool operator==(const Colour&) const = default;
};

// A white area of the screen, for pictures of the cover. How its firmware mixes colours is not
// known; this shows at least what was set:
//   rgb         the second to fourth number (0 to 255): each colour loses three quarters of what it
//               lacks to the greatest of the three
//   tune        the first number, 2 being neutral: saturation, a quarter more or less a step. The
//               others, hue and contrast, do not show on a white area.
//   mode        1 is warmer (blue 3/4), 2 more saturated (half as much again), 3 a little warmer
//               (blue 7/8)
//   brightness  black is left out by 0.78 (1 - brightness / 255)^1.3
Colour colourOf(const ScreenView& view);

// "off", or "on, brightness 128 of 255, rgb 2,0,0,0, tune 2,2,2, mode 0".
std::string toText(const ScreenView& view);

}  // namespace cover
