// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Fast message queues are not supported; generated code asks for the size of their descriptor.
#pragma once

#include <cstdint>

namespace android::hardware {

enum MQFlavor : uint32_t {
    kSynchronizedReadWrite = 0x01,
    kUnsynchronizedWrite = 0x02,
};

template <typename T, MQFlavor flavor>
struct MQDescriptor {
    alignas(8) uint8_t opaque[32];
};

}  // namespace android::hardware
