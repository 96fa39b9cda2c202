// The shift of the cover screen's brightness against the phone's.
#pragma once

#include <atomic>
#include <cstdint>

#include "display/Attach.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// The requested offset, any number. Written under display_lock, but for a request that comes before
// the first attach.
extern std::atomic<int32_t> br_offset;

// Steps in the queue that still take the plain rule, brightness + 2 x offset.
extern int32_t br_offset_count GUARDED_BY(display_lock);

// The next mapping takes the plain rule, whatever the count.
extern bool br_offset_bypass GUARDED_BY(display_lock);

// Maps a brightness by the current offset, and takes one step off the count or the bypass. `max` is
// the highest level, 0 for 255. Returns 10..max. Arithmetic wraps at 32 bits.
int32_t br_to_offset_br(int32_t brightness, int32_t max) REQUIRES(display_lock);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
