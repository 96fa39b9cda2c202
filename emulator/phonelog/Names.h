// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Names that the log does not have, and what the emulated phone calls them.
#pragma once

namespace phonelog {

// The cover's USB device: the first one on the bus of the emulated phone.
inline constexpr char kDevice[] = "1-1";
inline constexpr char kControl[] = "/sys/devices/platform/soc/usb1/1-1/power/control";

}  // namespace phonelog
