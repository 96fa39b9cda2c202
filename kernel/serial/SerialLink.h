// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The serial link to the cover: its tty, whether it can be used, and the locks of its users.
#pragma once

#include <atomic>
#include <cstddef>

#include "kernel/base/DevicePath.h"
#include "kernel/base/Mutex.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Serialises all use of the cover's tty: held for the whole of every AT exchange, and while the
// port is attached or detached. Taken before sUsbAutoSuspendMutex (AutoSuspend.h).
extern Mutex sSerialMutex;

// Guards the callback of the running pass-through command: held while it is replaced and used.
extern Mutex sAtCallbackMutex ACQUIRED_BEFORE(sSerialMutex);

// Takes a line of an answer with its bytes, NUL-terminated, and their count.
using AtLineCallback = void (*)(char* line, size_t len);

class SerialLink {
  public:
    // Set by the notify thread while the link is not attached.
    DevicePath mSerialDevicePath;

    // The AT port is usable. Any thread.
    bool isAttached() const { return mSerialAttached; }
    void setAttached(bool attached) REQUIRES(sSerialMutex) { mSerialAttached = attached; }

    // Copies a line that the cover sent outside a command's answer to the log and the kernel's log.
    void logLine(const char* line) const;

  private:
    std::atomic<bool> mSerialAttached = false;
    const bool mSerialLogToLogcat = true;
    const bool mSerialLogToKernel = true;
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
