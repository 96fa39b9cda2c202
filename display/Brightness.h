// The queue of brightness levels on their way to the cover.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "display/Attach.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Levels that wait for BrightnessThread, oldest first; at most 20. Never destroyed: that thread
// uses it until the process is gone.
extern std::vector<int32_t>& br_arr GUARDED_BY(display_lock);

// The most that br_arr held when a level was queued or at a debug dump, since the last reset.
extern size_t br_high_water GUARDED_BY(display_lock);

// The last level that setBrightness accepted, 0..255; 0 after a detach and while the screen is off.
extern int32_t brightness_value GUARDED_BY(display_lock);

// Empties the queue and forgets the last level. The offset state stays.
void forgetBrightness() REQUIRES(display_lock);

// Thread body: takes level by level from the queue and sends it to the cover, for ever. `service`
// is the Bivista object. Its commands wait for the link with no lock of the display held.
void* BrightnessThread(void* service);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
