// The kernel's side of the pen (AES) mode.
#pragma once

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Parameter of the kernel's USB HID driver: 0 in mode 1, 2 in mode 2.
inline constexpr char kAesModePath[] = "/sys/module/usbhid/parameters/aes_mode";

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
