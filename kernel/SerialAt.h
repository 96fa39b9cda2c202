// What the users of the cover's serial port share.
#pragma once

#include "kernel/Mutex.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Serialises all use of the cover's tty: held for the whole of every AT exchange, and while the
// port is attached or detached. Taken inside sAtCallbackMutex, and before sUsbAutoSuspendMutex.
extern Mutex sSerialMutex;

// Beginnings of the commands whose answer is awaited without a time limit; ends in null.
extern const char* const AtCmdTimeoutException[];

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
