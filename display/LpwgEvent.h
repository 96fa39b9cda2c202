// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover's touch and pen events by their names in uevents.
#pragma once

#include <cstdint>
#include <string>

#include <vendor/qmx/hardware/bivista/1.1/types.h>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Sets `status` to the event of this name and returns 0; UNKNOWN and -1 for any other text. Names
// are compared whole.
int32_t getLpwgStatusHelper_1_1(LpwgEventStatus& status, std::string& token);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
