// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Frames of the touch panel as its firmware prints them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "emulator/cover/Types.h"

namespace cover {

// One line a row, each value right-aligned in five characters. The values are made up, differ from
// frame to frame, and are the same for the same `frame`.
std::vector<std::string> rawTouchFrame(uint32_t frame, TouchSize size);    // 1900..2099
std::vector<std::string> deltaTouchFrame(uint32_t frame, TouchSize size);  // -20..20

}  // namespace cover
