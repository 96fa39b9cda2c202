// The locks of the cover's serial port, in their order, and what its users share.
#pragma once

#include "kernel/base/Mutex.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Guards the power control of the cover's USB device and its votes. Inside it only the lock of the
// device path is taken.
extern Mutex sUsbAutoSuspendMutex;

// Serialises all use of the cover's tty: held for the whole of every AT exchange, and while the
// port is attached or detached. Taken inside sAtCallbackMutex, and before sUsbAutoSuspendMutex.
extern Mutex sSerialMutex ACQUIRED_BEFORE(sUsbAutoSuspendMutex);

// Guards the callback of the running pass-through command: held while it is replaced and used.
extern Mutex sAtCallbackMutex ACQUIRED_BEFORE(sSerialMutex);

// Beginnings of the commands whose answer is awaited without a time limit; ends in null.
extern const char* const AtCmdTimeoutException[];

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
