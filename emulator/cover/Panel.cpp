// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/Panel.h"

#include <algorithm>

namespace cover {
namespace {

constexpr uint8_t kInfoReport = 2;
constexpr uint8_t kConfigReport = 3;
constexpr uint8_t kPaletteReport = 2;
constexpr size_t kConfigSize = 3;

constexpr uint8_t kFlag = 1;
constexpr uint8_t kOn = 2;

// An unsigned little-endian number.
uint32_t numberAt(std::string_view bytes, size_t at, size_t size) {
    uint32_t number = 0;
    for (size_t i = size; i > 0; --i) {
        number = number << 8 | static_cast<uint8_t>(bytes[at + i - 1]);
    }
    return number;
}

}  // namespace

void Panel::powerUp() {
    mState = {};
    mMemory = {};
    mShown = {};
}

void Panel::powerDown() {
    powerUp();
}

bool Panel::count(bool taken) {
    ++(taken ? mState.reports : mState.refused);
    return taken;
}

std::optional<std::string> Panel::feature(uint8_t id) {
    if (!count(id == kInfoReport)) return std::nullopt;
    std::string report(1, static_cast<char>(kInfoReport));
    for (const uint16_t size : {mOptions.width, mOptions.height}) {
        report += static_cast<char>(size & 0xff);
        report += static_cast<char>(size >> 8);
    }
    report += static_cast<char>(mOptions.format);
    report += static_cast<char>(mOptions.ready);
    return report;
}

bool Panel::setFeature(std::string_view report) {
    if (!count(report.size() == kConfigSize && report[0] == kConfigReport)) return false;
    const auto bits = static_cast<uint8_t>(report[1]);
    mState.flag = (bits & kFlag) != 0;
    mState.on = (bits & kOn) != 0;
    mState.brightness = static_cast<uint8_t>(report[2]);
    return true;
}

bool Panel::write(std::string_view report, size_t taken) {
    const bool isWhole = report.size() >= kHeaderSize && report.size() <= kLargestReport &&
                         report[0] == kPaletteReport &&
                         numberAt(report, 1, 2) == report.size() - kHeaderSize;
    if (!isWhole) return count(false);
    const std::string_view pixels = report.substr(kHeaderSize);
    const uint32_t offset = numberAt(report, 3, 4);
    if (offset > kMemorySize || pixels.size() > kMemorySize - offset) return count(false);
    count(true);
    if (taken < kHeaderSize) return true;
    const std::string_view arrived = pixels.substr(0, taken - kHeaderSize);
    std::copy(arrived.begin(), arrived.end(), mMemory.begin() + offset);
    if (!pixels.empty()) return true;
    mShown = mMemory;
    ++mState.frames;
    return true;
}

std::optional<Picture> Panel::picture() const {
    const size_t pixels = size_t{mOptions.width} * mOptions.height;
    if (pixels > 2 * kMemorySize) return std::nullopt;
    Picture picture = {mOptions.width, mOptions.height, std::vector<uint8_t>(pixels)};
    if (!mState.on) return picture;
    // The panel is mounted upside down: its memory begins with the last pair of pixels. Within a
    // byte the left pixel is the high half all the same.
    const size_t pairs = pixels / 2;
    for (size_t pair = 0; pair < pairs; ++pair) {
        const uint8_t byte = mShown[pairs - 1 - pair];
        picture.levels[2 * pair] = byte >> 4;
        picture.levels[2 * pair + 1] = byte & 0xf;
    }
    return picture;
}

}  // namespace cover
