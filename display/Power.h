// Whether the cover screen is on.
#pragma once

#include <atomic>

#include "display/Attach.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// The screen was switched on and the cover confirmed it. Changed under display_lock, by
// setPowerStatus and at a detach; any thread reads it.
extern std::atomic<bool> bv2_screen_on;

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
