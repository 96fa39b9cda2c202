// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/picture/Levels.h"

#include <algorithm>

namespace picture {
namespace {

uint8_t nearest(int grey) {
    return static_cast<uint8_t>((std::clamp(grey, 0, 255) * (kLevels - 1) + 127) / 255);
}

// The error that the pixels of a row and of the next row take over from finished pixels, in
// sixteenths of a grey. Error is lost only at the edges. Both sides have a margin, so the ends of a
// row need no special case.
class Debts {
  public:
    explicit Debts(size_t width) : mRow(width + 2), mNext(width + 2) {}

    int of(size_t x) const { return mRow[x + 1]; }

    void spread(size_t x, int error) {
        const int right = error * 7 / 16;
        const int below = error * 5 / 16;
        const int belowLeft = error * 3 / 16;
        mRow[x + 2] += right;
        mNext[x] += belowLeft;
        mNext[x + 1] += below;
        mNext[x + 2] += error - right - below - belowLeft;
    }

    void nextRow() {
        mRow.swap(mNext);
        std::fill(mNext.begin(), mNext.end(), 0);
    }

  private:
    std::vector<int> mRow;
    std::vector<int> mNext;
};

}  // namespace

std::vector<uint8_t> roundToLevels(const Picture& picture) {
    std::vector<uint8_t> levels(picture.pixels.size());
    std::transform(picture.pixels.begin(), picture.pixels.end(), levels.begin(), nearest);
    return levels;
}

std::vector<uint8_t> ditherToLevels(const Picture& picture) {
    std::vector<uint8_t> levels;
    levels.reserve(picture.pixels.size());
    Debts debts(picture.size.width);
    for (size_t y = 0; y < picture.size.height; ++y) {
        for (size_t x = 0; x < picture.size.width; ++x) {
            const int wanted = picture.at(x, y) * 16 + debts.of(x);
            levels.push_back(nearest(wanted / 16));
            debts.spread(x, wanted - greyOf(levels.back()) * 16);
        }
        debts.nextRow();
    }
    return levels;
}

std::vector<uint32_t> wordsOf(const std::vector<uint8_t>& levels) {
    std::vector<uint32_t> words;
    words.reserve(levels.size());
    for (const uint8_t level : levels) words.push_back(uint32_t{level} << 4);
    return words;
}

}  // namespace picture
