// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the cover's screen shows.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "emulator/cover/Types.h"

namespace cover {

struct ScreenView {
    bool on = false;  // switched on, and the panel is up; otherwise it is dark
    int brightness = 0;
    std::array<int32_t, 4> rgb{};
    std::array<int32_t, 3> tune{};
    int32_t mode = 0;

    bool operator==(const ScreenView&) const = default;
};

ScreenView viewOf(const State& state);

// "off", or "on, brightness 128 of 255, rgb 2,0,0,0, tune 2,2,2, mode 0".
std::string toText(const ScreenView& view);

}  // namespace cover
