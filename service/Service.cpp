// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Process entry of vendor.qmx.hardware.bivista@1.1-service.

#include <hidl/HidlTransportSupport.h>

#include "kernel/Bivista.h"
#include "kernel/base/Log.h"

using ::android::NO_MEMORY;
using ::android::OK;
using ::android::sp;
using ::android::status_t;
using ::android::hardware::configureRpcThreadpool;
using ::android::hardware::joinRpcThreadpool;
using ::vendor::qmx::hardware::bivista::V1_1::implementation::Bivista;

int main() {
    const sp<Bivista> service = new Bivista();
    // The service's threads use the object until the process is gone, so it outlives this function.
    service->incStrong(nullptr);
    configureRpcThreadpool(1, true /* callerWillJoin */);
    const status_t registered = service->registerAsService("default");
    if (registered == OK) {
        LOG_INFO("Bivista HAL Ready.");
        joinRpcThreadpool();
    }
    // Meant: quirk misspelt-bivsita.
    LOG_ERROR("Cannot register Bivsita HAL service");
    // Without its RPC thread the service ends, with the last line of a constructor that gives up.
    if (registered == NO_MEMORY) LOG_ERROR("Exiting Bivista");
    return 1;
}
