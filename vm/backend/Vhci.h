// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The ports of vhci_hcd, the kernel's USB host without hardware, on which a socket is a device.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <android-base/unique_fd.h>

namespace vm {

// The folder of the driver in sysfs.
inline constexpr char kVhci[] = "/sys/devices/platform/vhci_hcd.0";

// Of the text of its file "status": the free ports for devices of high speed, the first is 0.
std::vector<int> freePorts(std::string_view status);
// The same of the kernel as it is now. Throws phone::Error when there is no vhci_hcd.
std::vector<int> freePorts();

// Puts a device on this port; returns its end of the connection. Throws phone::Error.
android::base::unique_fd plugIn(int port);

// Says that the device goes: the kernel takes leave of it.
void pullOut(int socket);

}  // namespace vm
