// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/picture/Scale.h"

#include <algorithm>

namespace picture {
namespace {

// Lays `from` pixels along `to` pixels and reports each overlap. The units make both whole: a pixel
// of the source is `to` long, a pixel of the result `from`.
template <typename Visit>
void eachOverlap(size_t from, size_t to, Visit visit) {
    for (size_t i = 0, j = 0, at = 0; j < to;) {
        const size_t end = std::min((i + 1) * to, (j + 1) * from);
        visit(i, j, end - at);
        at = end;
        if (at == (i + 1) * to) ++i;
        if (at == (j + 1) * from) ++j;
    }
}

void addRow(const Picture& picture, size_t row, size_t weight, std::vector<uint64_t>& sums) {
    eachOverlap(picture.size.width, sums.size(), [&](size_t x, size_t column, size_t overlap) {
        sums[column] += uint64_t{overlap} * weight * picture.at(x, row);
    });
}

// Clears the sums for the next row.
void putMeans(std::vector<uint64_t>& sums, uint64_t area, uint8_t* row) {
    for (uint64_t& sum : sums) {
        *row++ = static_cast<uint8_t>((sum + area / 2) / area);
        sum = 0;
    }
}

size_t scaled(size_t length, size_t to, size_t from) {
    return std::max<size_t>(1, (length * to + from / 2) / from);
}

Size fittingSize(Size picture, Size room) {
    if (picture.width * room.height >= picture.height * room.width) {
        return {room.width, scaled(picture.height, room.width, picture.width)};
    }
    return {scaled(picture.width, room.height, picture.height), room.height};
}

}  // namespace

Picture stretch(const Picture& picture, Size size) {
    Picture result = black(size);
    std::vector<uint64_t> sums(size.width, 0);
    size_t filled = 0;
    eachOverlap(picture.size.height, size.height, [&](size_t row, size_t y, size_t overlap) {
        addRow(picture, row, overlap, sums);
        filled += overlap;
        if (filled < picture.size.height) return;
        putMeans(sums, picture.size.pixels(), &result.at(0, y));
        filled = 0;
    });
    return result;
}

Picture fit(const Picture& picture, Size size) {
    const Picture inner = stretch(picture, fittingSize(picture.size, size));
    Picture result = black(size);
    const size_t left = (size.width - inner.size.width) / 2;
    const size_t top = (size.height - inner.size.height) / 2;
    for (size_t y = 0; y < inner.size.height; ++y) {
        for (size_t x = 0; x < inner.size.width; ++x) {
            result.at(left + x, top + y) = inner.at(x, y);
        }
    }
    return result;
}

}  // namespace picture
