#pragma once

#include <string_view>

#include "tools/picture/Picture.h"

namespace picture {

inline constexpr size_t kMostPixels = size_t{64} << 20;

// The picture in the bytes of a PNG file, of any depth and colour, interlaced or not: colours as
// grey, transparency over black, of an animation the picture that it stands for. Throws NoPicture
// for bytes that are no PNG or not all of one, and for a picture of more than `mostPixels`, before
// any memory is taken for it.
Picture decodePng(std::string_view bytes, size_t mostPixels = kMostPixels);

}  // namespace picture
