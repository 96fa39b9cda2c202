// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Turns the words of a client's frame into the bytes of the panel.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Packs 2 * `pairs` words into `pairs` bytes. Bits 4 to 7 of a word are its grey level; the other
// bits (-) are ignored. The first pair is the last byte, which is how the panel is mounted:
//
//   words  ------A-  ------B-  ------C-  ------D-  ------E-  ------F-
//             first pair          second pair         third pair
//   area   EF  CD  AB
void packFrame(const uint32_t* words, size_t pairs, uint8_t* area);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
