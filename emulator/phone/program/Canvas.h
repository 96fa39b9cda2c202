// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A picture for a terminal: two pixels, one above the other, in each character.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "emulator/cover/ScreenView.h"

namespace emulator {

// The colours of the terminal.
enum class Depth { None, Palette, True };

class Canvas {
  public:
    // Black.
    Canvas(size_t width, size_t height) : mWidth(width), mHeight(height), mPixels(width * height) {}

    size_t width() const { return mWidth; }
    size_t height() const { return mHeight; }
    const cover::Colour& at(size_t x, size_t y) const { return mPixels[y * mWidth + x]; }

    // What lies outside is left out.
    void fill(size_t x, size_t y, size_t width, size_t height, const cover::Colour& colour);

    // A line for every two rows, without line ends: upper half blocks, their lower half as the
    // background; without colours characters from a blank to "@".
    std::vector<std::string> lines(Depth depth) const;

  private:
    size_t mWidth;
    size_t mHeight;
    std::vector<cover::Colour> mPixels;
};

}  // namespace emulator
