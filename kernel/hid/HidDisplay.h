// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The sub display's HID node, the panel's record of itself, and the node's lock.
#pragma once

#include <atomic>
#include <cstdint>

#include "kernel/base/DevicePath.h"
#include "kernel/base/Mutex.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Feature report 2, as it comes: packed, little-endian.
struct hid_display_report_info {
    uint8_t report_id;  // 2
    uint16_t x;         // width in pixels
    uint16_t y;         // height in pixels
    uint8_t format;     // pixel format code, for clients
    uint8_t ready;      // bit 0: the panel is ready
} __attribute__((packed));
static_assert(sizeof(hid_display_report_info) == 7);
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "reports are read and written as they are");

// Serialises all use of the panel's hidraw node, and changes of its attached flag: held for the
// whole of every transfer. Inside it only the lock of the device path is taken.
extern Mutex hid_lock;

class HidLink {
  public:
    // Set by the notify thread while the node is not attached.
    DevicePath mHidDevicePath;

    // The node is present. Any thread.
    bool isAttached() const { return mHidDisplayAttached; }
    // Returns whether the flag changed.
    bool setAttached(bool attached) REQUIRES(hid_lock) {
        return mHidDisplayAttached.exchange(attached) != attached;
    }

  private:
    std::atomic<bool> mHidDisplayAttached = false;
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
