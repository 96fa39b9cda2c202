// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The queue of brightness levels on their way to the cover, and the offset that shifts them against
// the phone's.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "display/Display.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Levels that wait for BrightnessThread, oldest first; at most 20. Never destroyed: that thread
// uses it until the process is gone.
extern std::vector<int32_t>& br_arr GUARDED_BY(display_lock);

// The most that br_arr held when a level was queued or at a debug dump, since the last reset.
extern size_t br_high_water GUARDED_BY(display_lock);

// The last level that setBrightness accepted, 0..255; 0 after a detach and while the screen is off.
extern int32_t brightness_value GUARDED_BY(display_lock);

// The offset that was requested, any number. Written under display_lock, but for a request that
// comes while the display side is down.
extern std::atomic<int32_t> br_offset;

// Steps in the queue that still take the plain rule, brightness + 2 x offset.
extern int32_t br_offset_count GUARDED_BY(display_lock);

// The next mapping takes the plain rule, whatever the count.
extern bool br_offset_bypass GUARDED_BY(display_lock);

// Empties the queue and forgets the last level. The offset state stays.
void forgetBrightness() REQUIRES(display_lock);

// Maps a brightness by the current offset, and takes one step off the count or the bypass. `max` is
// the highest level, 0 for 255. Returns 10..max. Arithmetic wraps at 32 bits.
int32_t br_to_offset_br(int32_t brightness, int32_t max) REQUIRES(display_lock);

// Thread body: takes level by level from the queue and sends it to the cover, for ever. `service`
// is the Bivista object. Its commands wait for the link with no lock of the display held.
void* BrightnessThread(void* service);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
