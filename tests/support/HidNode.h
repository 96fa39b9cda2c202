// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// An empty file in the place of a hidraw node, with the node's files in sysfs.
#pragma once

#include <string>

#include "emulator/phone/Phone.h"

namespace support {

inline constexpr char kCoverVendor[] = "3e91\n";
inline constexpr char kCoverProduct[] = "6a2f\n";

// Makes /dev/hidraw<number>, last, as a device two levels below one with these ids. The number may
// have been used before.
void createHidNode(phone::Phone& phone, int number, const std::string& vendor = kCoverVendor,
                   const std::string& product = kCoverProduct);

}  // namespace support
