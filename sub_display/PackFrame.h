// From words as clients send them to the bytes that the panel takes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Packs 2 * `pairs` words into `pairs` bytes. Bits 4 to 7 of a word are its grey level; the other
// bits are ignored. The first word of a pair is the high half of its byte. The pairs are laid down
// from the end of the area backwards, which is how the panel is mounted: the first is the last
// byte.
void packFrame(const uint32_t* words, size_t pairs, uint8_t* area);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
