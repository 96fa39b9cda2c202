// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "sub_display/PackFrame.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// From the last pair back to the first: clang makes whole vectors of this loop, on the phone's
// processor too. A loop from the first pair on takes up to half as long again.
void packFrame(const uint32_t* words, size_t pairs, uint8_t* area) {
    constexpr uint32_t kGrey = 0xF0;
    const uint32_t* pair = words + 2 * pairs;
    for (size_t i = 0; i < pairs; ++i) {
        pair -= 2;
        area[i] = static_cast<uint8_t>((pair[0] & kGrey) | (pair[1] & kGrey) >> 4);
    }
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
