// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Passthrough mode is not supported: a service in the same process is used as it is.
#pragma once

#include <hidl/HidlSupport.h>

namespace android::hardware::details {

template <typename IType>
sp<IType> wrapPassthrough(const sp<IType>& service) {
    return service;
}

}  // namespace android::hardware::details
