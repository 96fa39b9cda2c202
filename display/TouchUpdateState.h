// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The touch driver's numbers as a command to the cover.
#pragma once

#include <string>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// The command that passes on the leading numbers of the text: 32-bit signed ones in decimal, up to
// the first word that is none, and at most as many as the text has words. Whole, however long.
std::string makeUpdateStateCommand(const std::string& text);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
