// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <stdexcept>
#include <vector>

namespace picture {

// In pixels.
struct Size {
    size_t width = 0;
    size_t height = 0;

    size_t pixels() const { return width * height; }
    bool operator==(const Size&) const = default;
};

// Grey, row by row from the top: 0 is black, 255 is white, in between as in sRGB.
struct Picture {
    Size size;
    std::vector<uint8_t> pixels;

    uint8_t at(size_t x, size_t y) const { return pixels[y * size.width + x]; }
    uint8_t& at(size_t x, size_t y) { return pixels[y * size.width + x]; }
    bool operator==(const Picture&) const = default;
};

inline Picture black(Size size) {
    return {size, std::vector<uint8_t>(size.pixels(), 0)};
}

// There is no picture. `what()` gives people the reason, without a full stop.
class NoPicture : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace picture
