// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What registerForNotifications() would call. Declared for generated code; never called.
#pragma once

#include <android/hidl/base/1.0/IBase.h>

namespace android::hidl::manager::V1_0 {

struct IServiceNotification : public ::android::hidl::base::V1_0::IBase {
    virtual ::android::hardware::Return<void> onRegistration(
            const ::android::hardware::hidl_string& fqName,
            const ::android::hardware::hidl_string& name, bool preexisting) = 0;
};

}  // namespace android::hidl::manager::V1_0
