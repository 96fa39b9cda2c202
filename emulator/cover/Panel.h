// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover's sub display as its HID interface shows it: reports in, a picture out.
//
//   feature report 2 (read)    02, width, height (16 bits each, little-endian), format, ready
//   feature report 3 (written) 03, bits (bit 1: on), brightness
//   output report 2            02, length (16 bits), offset (32 bits), `length` bytes of pixels
//
// Pixels go into the panel's memory; a report of length 0 ends the frame and shows it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cover {

// The kind of panel to play, hostile ones included: it may claim any size.
struct PanelOptions {
    uint16_t width = 128;
    uint16_t height = 128;
    uint8_t format = 4;
    uint8_t ready = 1;

    bool operator==(const PanelOptions&) const = default;
};

struct PanelState {
    bool on = false;
    bool flag = false;  // bit 0 of the configuration
    uint8_t brightness = 0;
    uint64_t frames = 0;   // shown
    uint64_t reports = 0;  // taken, of any kind
    uint64_t refused = 0;

    bool operator==(const PanelState&) const = default;
};

// As a person who holds the cover sees it: rows from the top, each from the left.
struct Picture {
    uint16_t width = 0;
    uint16_t height = 0;
    std::vector<uint8_t> levels;  // 0 (black) to 15

    bool operator==(const Picture&) const = default;
};

class Panel {
  public:
    static constexpr size_t kMemorySize = 8192;
    static constexpr size_t kHeaderSize = 7;        // of an output report
    static constexpr size_t kLargestReport = 4096;  // output, with its header

    // Both forget everything but the options.
    void powerUp();
    void powerDown();

    const PanelOptions& options() const { return mOptions; }
    void setOptions(const PanelOptions& options) { mOptions = options; }
    const PanelState& state() const { return mState; }

    // The feature report of this number; none: it is refused.
    std::optional<std::string> feature(uint8_t id);
    // False when it is refused, and then nothing has changed: an unknown number or a wrong size; of
    // an output report also a length that does not fit its size, or pixels outside the memory.
    bool setFeature(std::string_view report);
    // Of the report only the first `taken` bytes arrive.
    bool write(std::string_view report, size_t taken = kLargestReport);

    // What it shows: black while it is off. None when it claims more pixels than it has memory for.
    std::optional<Picture> picture() const;

  private:
    using Memory = std::array<uint8_t, kMemorySize>;

    bool count(bool taken);

    PanelOptions mOptions;
    PanelState mState;
    Memory mMemory{};
    Memory mShown{};
};

}  // namespace cover
