// State that the USB monitor shares with the life of the service object.
#pragma once

#include <atomic>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Tells the USB notify thread to stop before its next wait. Set by the SIGUSR1 handler and when a
// thread cannot be started; cleared by the constructor.
extern std::atomic<bool> sDestroy;

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
