// The thread that sends drawn frames to the panel, and what wakes and ends it.
#pragma once

#include <atomic>

#include "kernel/base/Mutex.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Guards the update thread's running flag, and its look for work and wait for it. Never held while
// the thread is joined. Taken inside mSubThreadLock, and before a frame buffer's lock.
extern Mutex sub_update_lock;

// Tells the update thread to end. Changed under mSubThreadLock.
extern std::atomic<bool> sub_display_destroyThread;

// The thread's body; the argument is the service object.
void* subDisplayUpdateThread(void* service);

// There is a frame to send. `function` names a failing lock.
void wakeUpdateThread(const char* function) EXCLUDES(sub_update_lock);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
