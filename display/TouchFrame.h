// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A touch frame as the cover prints it: lines of numbers.
#pragma once

#include <string_view>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Longest line of a frame, its line feed included.
constexpr size_t kFrameLineLimit = 1024;

// Takes the first line off the text: up to its line feed, which belongs to it, or to the end of the
// text. The text is not empty. Ends the process when the line is longer than kFrameLineLimit.
std::string_view takeFrameLine(std::string_view* text);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
