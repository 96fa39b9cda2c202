// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The client's callback for touch and pen events, and the worker that it starts and stops.
#pragma once

#include <pthread.h>

#include <vendor/qmx/hardware/bivista/1.1/IBivistaLpwgCallback.h>

#include "kernel/base/Mutex.h"
#include "kernel/base/SharedPointer.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

struct LpwgClient {
    // Makes each replacement of the callback, with the worker's start or stop, one step: held while
    // the worker is joined. Taken alone; the worker must not take it.
    Mutex lock{"LpwgClient::lock"};
    // Null for none. Replaced under the lock; the worker copies it without.
    SharedPointer<V1_0::IBivistaLpwgCallback> callback;
    // The uevent worker (UeventMonitor.h); set when it is created.
    pthread_t worker GUARDED_BY(lock) = {};
};

// The callback as version 1.1; null when it implements 1.0 alone, and when its process is gone. May
// ask that process.
::android::sp<V1_1::IBivistaLpwgCallback> asVersion1_1(
        const ::android::sp<V1_0::IBivistaLpwgCallback>& callback);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
