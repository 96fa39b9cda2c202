// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover's ids on the USB bus, in normal operation and in its loader.
#pragma once

#include <cstdint>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

inline constexpr uint16_t kCoverVendor = 0x3E91;
inline constexpr uint16_t kCoverProduct = 0x6A2F;
inline constexpr uint16_t kLoaderVendor = 0x0483;
inline constexpr uint16_t kLoaderProduct = 0xDF11;

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
