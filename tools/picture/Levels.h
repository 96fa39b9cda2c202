// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/picture/Picture.h"

namespace picture {

// The panel's picture: each pixel a level, 0 black to 15 white, in equal steps.
inline constexpr uint8_t kLevels = 16;

// The grey of a level in a Picture: levels lie exactly on it, so that a picture of these 16 greys
// is shown unchanged, dithered or not.
constexpr uint8_t greyOf(uint8_t level) {
    return static_cast<uint8_t>(level * 17);
}

// The nearest level of each pixel.
std::vector<uint8_t> roundToLevels(const Picture& picture);

// Levels that keep the mean grey of each area: a pixel's neighbours make up for its error (error
// diffusion by Floyd and Steinberg).
std::vector<uint8_t> ditherToLevels(const Picture& picture);

// The words of drawSubDisplay() that show them: the panel takes its level from the upper half of a
// word's lowest byte.
std::vector<uint32_t> wordsOf(const std::vector<uint8_t>& levels);

}  // namespace picture
