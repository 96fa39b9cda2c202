// State that the USB monitor shares with the life of the service object.
#pragma once

#include <atomic>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Tells the USB notify thread to stop before its next wait. Set by the SIGUSR1 handler and where
// the constructor gives up; cleared where the constructor begins.
extern std::atomic<bool> sDestroy;

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
