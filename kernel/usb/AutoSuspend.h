// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Votes that keep the kernel from suspending the cover's USB device while the service uses it.
#pragma once

#include <atomic>
#include <cstdint>

#include "kernel/base/Mutex.h"
#include "kernel/serial/SerialLink.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Guards the power control of the cover's USB device and its votes. Inside it only the lock of the
// device path is taken.
extern Mutex sUsbAutoSuspendMutex ACQUIRED_AFTER(sSerialMutex);

struct AutoSuspendVotes {
    // Outstanding votes; may be read without the lock.
    std::atomic<int32_t> mUsbAutoSuspendDisableVote = 0;

    // Counts a vote or its withdrawal. Returns whether the control file must be written.
    bool count(bool suspend) REQUIRES(sUsbAutoSuspendMutex);
    // Forgets the votes that an earlier cover left.
    void reset() EXCLUDES(sUsbAutoSuspendMutex);
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
