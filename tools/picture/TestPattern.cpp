// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/picture/TestPattern.h"

#include <algorithm>

#include "tools/picture/Levels.h"

namespace picture {

Picture testPattern(Size size) {
    Picture pattern = black(size);
    const size_t square = std::min(size.width, size.height) / 5;
    for (size_t y = 0; y < size.height; ++y) {
        for (size_t x = 0; x < size.width; ++x) {
            const bool border = x == 0 || y == 0 || x + 1 == size.width || y + 1 == size.height;
            if (border || (x < square && y < square)) {
                pattern.at(x, y) = greyOf(kLevels - 1);
            } else {
                const size_t bar = (x - 1) * kLevels / (size.width - 2);
                pattern.at(x, y) = greyOf(static_cast<uint8_t>(bar));
            }
        }
    }
    return pattern;
}

}  // namespace picture
