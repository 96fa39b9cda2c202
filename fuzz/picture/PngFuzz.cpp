// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Reads any bytes as a PNG, as they are and with the checksums of its chunks set right, which the
// fuzzer would hardly guess; what is a picture goes all the way to a panel's levels.
#include <zlib.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "tools/picture/Levels.h"
#include "tools/picture/Png.h"
#include "tools/picture/Scale.h"

namespace {

constexpr size_t kMostPixels = 1 << 16;
constexpr picture::Size kPanels[] = {{1, 1}, {16, 8}, {3, 50}};

void require(bool condition) {
    if (!condition) std::abort();
}

uint32_t numberAt(const std::string& bytes, size_t at) {
    uint32_t number = 0;
    for (size_t i = 0; i < 4; ++i) number = number << 8 | static_cast<uint8_t>(bytes[at + i]);
    return number;
}

std::string withRightChecksums(std::string png) {
    size_t at = 8;
    while (at + 12 <= png.size()) {
        const size_t length = numberAt(png, at);
        if (length > png.size() - at - 12) break;
        const auto* summed = reinterpret_cast<const Bytef*>(png.data() + at + 4);
        const uLong sum = crc32(0, summed, static_cast<uInt>(length + 4));
        at += 8 + length;
        for (int shift : {24, 16, 8, 0}) png[at++] = static_cast<char>(sum >> shift);
    }
    return png;
}

void show(const picture::Picture& shown, picture::Size panel) {
    const picture::Picture fitted = picture::fit(shown, panel);
    require(fitted.size == panel);
    require(picture::roundToLevels(fitted).size() == panel.pixels());
    for (const uint8_t level : picture::ditherToLevels(picture::stretch(shown, panel))) {
        require(level < picture::kLevels);
    }
}

void read(const std::string& bytes) {
    try {
        const picture::Picture shown = picture::decodePng(bytes, kMostPixels);
        require(shown.size.pixels() <= kMostPixels);
        require(shown.pixels.size() == shown.size.pixels());
        for (const picture::Size panel : kPanels) show(shown, panel);
    } catch (const picture::NoPicture& none) {
        require(*none.what() != '\0');
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    read(bytes);
    read(withRightChecksums(bytes));
    return 0;
}
