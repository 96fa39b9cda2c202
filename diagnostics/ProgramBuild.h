// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Which build of the program runs: two programs of one version may differ.
#pragma once

#include <string>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// The GNU build id of the program or library that holds this function, in hexadecimal; empty when
// the linker wrote none. Read once, from memory. Any thread.
const std::string& programBuild();

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
