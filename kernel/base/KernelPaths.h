// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Files of the kernel, and the folder of device nodes, as the service names them. "%s" stands for
// the node's name.
#pragma once

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

inline constexpr char kDevFolder[] = "/dev";

// Names of the cover's USB device, in hexadecimal, as seen from its tty and from its HID node.
inline constexpr char kTtyVendorPath[] = "/sys/class/tty/%s/device/../idVendor";
inline constexpr char kTtyProductPath[] = "/sys/class/tty/%s/device/../idProduct";
inline constexpr char kHidVendorPath[] = "/sys/class/hidraw/%s/device/../../idVendor";
inline constexpr char kHidProductPath[] = "/sys/class/hidraw/%s/device/../../idProduct";

// "on" keeps the cover's USB device awake, "auto" lets it sleep.
inline constexpr char kUsbPowerPath[] = "/sys/class/tty/%s/device/../power/control";

// The cover's driver: the service has finished an attach; the link is to be reset; the cover screen
// was switched.
inline constexpr char kReadyPath[] = "/sys/class/bivista/bv2/bv2_hal_ready";
inline constexpr char kRecoveryPath[] = "/sys/class/bivista/bv2/bv2_recovery";
inline constexpr char kScreenPowerPath[] = "/sys/class/bivista/bv2/bv2_pd";

// Takes the orders for an upgrade of the cover's firmware.
inline constexpr char kUpgradePath[] =
        "/sys/devices/platform/soc/soc:gpio_keys/virtual_mcu_firmware_write";

// Pen (AES) mode of the kernel's USB HID driver: 0 in mode 1, 2 in mode 2.
inline constexpr char kAesModePath[] = "/sys/module/usbhid/parameters/aes_mode";

// The touch update state, as the phone's touch driver publishes it.
inline constexpr char kUpdateStatePath[] = "/sys/devices/virtual/input/qmx_touch/bv_update_state";

// Names of the wake locks that are held, the phone display's among them.
inline constexpr char kWakeLockPath[] = "/sys/power/wake_lock";

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
