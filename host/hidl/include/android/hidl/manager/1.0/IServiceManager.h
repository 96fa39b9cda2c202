// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The one method of the service manager that generated code mentions. No object of it exists:
// defaultServiceManager() of hidl/ServiceManagement.h is null.
#pragma once

#include <android/hidl/base/1.0/IBase.h>
#include <android/hidl/manager/1.0/IServiceNotification.h>

namespace android::hidl::manager::V1_0 {

struct IServiceManager : public ::android::hidl::base::V1_0::IBase {
    virtual ::android::hardware::Return<bool> registerForNotifications(
            const ::android::hardware::hidl_string& fqName,
            const ::android::hardware::hidl_string& name,
            const sp<IServiceNotification>& callback) = 0;
};

}  // namespace android::hidl::manager::V1_0
