// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Fast message queues are not supported; generated code asks for the size of their descriptor.
#pragma once

#include <hidl/HidlSupport.h>

namespace android::hardware {

enum MQFlavor : uint32_t {
    kSynchronizedReadWrite = 0x01,
    kUnsynchronizedWrite = 0x02,
};

struct GrantorDescriptor {
    uint32_t flags;
    uint32_t fdIndex;
    uint32_t offset;
    alignas(8) uint64_t extent;
};

template <typename T, MQFlavor flavor>
struct MQDescriptor {
  private:
    hidl_vec<GrantorDescriptor> mGrantors;
    details::hidl_pointer<native_handle_t> mHandle;
    uint32_t mQuantum;
    uint32_t mFlags;
};

}  // namespace android::hardware
