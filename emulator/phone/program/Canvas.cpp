// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/program/Canvas.h"

#include <algorithm>
#include <string_view>

namespace emulator {

using cover::Colour;

namespace {

constexpr char kUpperHalf[] = "\u2580";
constexpr char kPlain[] = "\033[0m";

// The number of the nearest colour in the cube of a terminal's 256.
int paletteOf(const Colour& colour) {
    constexpr int kCube = 16;
    constexpr int kSteps = 6;
    const auto step = [](uint8_t value) { return (value * (kSteps - 1) + 127) / 255; };
    return kCube + (step(colour.red) * kSteps + step(colour.green)) * kSteps + step(colour.blue);
}

// "38" for the foreground, "48" for the background.
std::string codeOf(const char* ground, const Colour& colour, Depth depth) {
    const std::string begin = std::string("\033[") + ground;
    if (depth == Depth::Palette) return begin + ";5;" + std::to_string(paletteOf(colour)) + "m";
    return begin + ";2;" + std::to_string(colour.red) + ";" + std::to_string(colour.green) + ";" +
           std::to_string(colour.blue) + "m";
}

char characterOf(const Colour& upper, const Colour& lower) {
    constexpr std::string_view kLevels = " .:-=+*#%@";
    const int sum = upper.red + upper.green + upper.blue + lower.red + lower.green + lower.blue;
    constexpr size_t kMost = size_t{6} * 255;
    return kLevels[(static_cast<size_t>(sum) * (kLevels.size() - 1) + kMost / 2) / kMost];
}

}  // namespace

void Canvas::fill(size_t x, size_t y, size_t width, size_t height, const Colour& colour) {
    for (size_t row = y; row < std::min(y + height, mHeight); ++row) {
        for (size_t column = x; column < std::min(x + width, mWidth); ++column) {
            mPixels[row * mWidth + column] = colour;
        }
    }
}

std::vector<std::string> Canvas::lines(Depth depth) const {
    std::vector<std::string> lines;
    for (size_t y = 0; y < mHeight; y += 2) {
        std::string line;
        std::string present;
        for (size_t x = 0; x < mWidth; ++x) {
            const Colour& upper = at(x, y);
            const Colour lower = y + 1 < mHeight ? at(x, y + 1) : Colour();
            if (depth == Depth::None) {
                line += characterOf(upper, lower);
                continue;
            }
            const std::string codes = codeOf("38", upper, depth) + codeOf("48", lower, depth);
            if (codes != present) line += present = codes;
            line += kUpperHalf;
        }
        if (!present.empty()) line += kPlain;
        lines.push_back(std::move(line));
    }
    return lines;
}

}  // namespace emulator
