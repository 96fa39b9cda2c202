// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Paths of the phone that its software and its kernel drivers know.
#pragma once

namespace phone {

inline constexpr char kHalReady[] = "/sys/class/bivista/bv2/bv2_hal_ready";
inline constexpr char kRecovery[] = "/sys/class/bivista/bv2/bv2_recovery";
inline constexpr char kPowerNode[] = "/sys/class/bivista/bv2/bv2_pd";
inline constexpr char kWakeLock[] = "/sys/power/wake_lock";
inline constexpr char kFirmwareWrite[] =
        "/sys/devices/platform/soc/soc:gpio_keys/virtual_mcu_firmware_write";
inline constexpr char kAesMode[] = "/sys/module/usbhid/parameters/aes_mode";
inline constexpr char kUpdateState[] = "/sys/devices/virtual/input/qmx_touch/bv_update_state";
inline constexpr char kFirmwareFolder[] = "/system_ext/etc/dfu";
inline constexpr char kTouchFolder[] = "/data/vendor/touch";
inline constexpr char kPropertyFile[] = "/data/property/host.prop";
inline constexpr char kKernelLog[] = "/dev/kmsg";

}  // namespace phone
