// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "tools/picture/Picture.h"

namespace picture {

inline constexpr size_t kMostPixels = size_t{64} << 20;

// The picture in the bytes of a PNG file, of any depth and colour, interlaced or not. Colours
// become grey, transparent parts lie over black, and an animation gives its still picture.
// Throws NoPicture for bytes that are no PNG or not all of one. For a picture of more than
// `mostPixels` it does so before it takes any memory.
Picture decodePng(std::string_view bytes, size_t mostPixels = kMostPixels);

}  // namespace picture
