// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <string>

struct usbdevfs_ctrltransfer;

namespace usbhost {

// Carries out a control transfer. Returns the count of bytes transferred, negative on failure.
using ControlTransfer = std::function<int(usbdevfs_ctrltransfer*)>;

// Asks a device for its string of this index, in the first of its languages that has it, waiting
// `timeout` milliseconds for each transfer. UTF-8; empty when the device does not give it.
std::string stringOverUsb(const ControlTransfer& transfer, uint8_t index, uint32_t timeout);

// The content of `file` ("serial", "product", "manufacturer") in the folder below `devices`
// ("/sys/bus/usb/devices") that belongs to the device node `node` (".../<bus>/<device>"), without
// the newline at its end. Empty when there is none.
std::string stringInSysfs(const std::string& devices, const std::string& node, const char* file);

// The text of a USB string descriptor of `size` bytes, from UTF-16 to UTF-8; it ends at a NUL, and
// half a surrogate pair becomes U+FFFD. Empty when it is not a string descriptor.
std::string decodeStringDescriptor(const uint8_t* descriptor, size_t size);

}  // namespace usbhost
