// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A service with a setBrightness of its own.
#pragma once

#include <cstdint>
#include <vector>

#include "kernel/Bivista.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Its setBrightness appends the level to `taken` and fails.
sp<Bivista> makeOtherBivista(std::vector<int32_t>* taken);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
