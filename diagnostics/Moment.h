// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The clocks of what is counted and remembered. Async-signal-safe, without a system call; errno is
// kept.
#pragma once

#include <cstdint>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// CLOCK_MONOTONIC, which stands still while the phone sleeps and which nobody sets.
uint64_t monotonicMicros();

// On both clocks: what a person's watch said, and what tells how long ago it was.
struct Moment {
    uint64_t wallMicros = 0;
    uint64_t monotonicMicros = 0;

    static Moment now();
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
