// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/TouchFrame.h"

namespace cover {
namespace {

constexpr size_t kValueWidth = 5;

// Noise that needs no state: each cell is a hash of where and when it was taken.
uint32_t noise(uint32_t frame, int cell) {
    uint32_t x = frame * 0x9e3779b9u + static_cast<uint32_t>(cell);
    x = (x ^ (x >> 16)) * 0x7feb352du;
    x = (x ^ (x >> 15)) * 0x846ca68bu;
    return x ^ (x >> 16);
}

std::vector<std::string> makeFrame(uint32_t frame, TouchSize size, int lowest, uint32_t values) {
    std::vector<std::string> lines;
    for (int row = 0; row < size.rows; ++row) {
        std::string line;
        for (int column = 0; column < size.columns; ++column) {
            const auto above = static_cast<int>(noise(frame, row * size.columns + column) % values);
            const std::string value = std::to_string(lowest + above);
            line.append(kValueWidth - value.size(), ' ').append(value);
        }
        lines.push_back(std::move(line));
    }
    return lines;
}

}  // namespace

std::vector<std::string> rawTouchFrame(uint32_t frame, TouchSize size) {
    return makeFrame(frame, size, 1900, 200);
}

std::vector<std::string> deltaTouchFrame(uint32_t frame, TouchSize size) {
    return makeFrame(frame, size, -20, 41);
}

}  // namespace cover
