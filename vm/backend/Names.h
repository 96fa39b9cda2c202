// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// How the phone's software and the kernel of the machine name the same files.
#pragma once

#include <string>

namespace vm {

// The phone's bus, as the kernel of the machine has it.
inline constexpr char kBus[] = "/sys/devices/platform/vhci_hcd.0/usb1";

// The kernel's path of what the phone's software knows under this one; any other path as it is.
std::string kernelPath(const std::string& path);
// The other way round.
std::string phonePath(const std::string& path);

}  // namespace vm
