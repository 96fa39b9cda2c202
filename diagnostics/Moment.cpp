// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "diagnostics/Moment.h"

#include <ctime>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

uint64_t microsOf(clockid_t clock) {
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<uint64_t>(time.tv_sec) * 1'000'000 +
           static_cast<uint64_t>(time.tv_nsec) / 1'000;
}

}  // namespace

uint64_t monotonicMicros() {
    return microsOf(CLOCK_MONOTONIC);
}

Moment Moment::now() {
    return {microsOf(CLOCK_REALTIME), microsOf(CLOCK_MONOTONIC)};
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
