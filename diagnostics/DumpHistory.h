// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The part of a debug dump that tells which service this is, who listens to it, and what happened.
#pragma once

#include <cstdint>

#include "diagnostics/DumpText.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// The sections "service" and "callbacks", with which every dump begins.
void describeService(DumpText* dump);

// The sections "history" and "events", with the events above this number.
void describeEvents(uint64_t since, DumpText* dump);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
