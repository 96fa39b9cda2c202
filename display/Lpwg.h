// The client's callback for touch and pen events.
#pragma once

#include <vendor/qmx/hardware/bivista/1.1/IBivistaLpwgCallback.h>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// The callback as version 1.1; null when it implements 1.0 alone, and when its process is gone. May
// ask that process.
::android::sp<V1_1::IBivistaLpwgCallback> asVersion1_1(
        const ::android::sp<V1_0::IBivistaLpwgCallback>& callback);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
