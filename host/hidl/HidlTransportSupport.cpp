// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// RPC threads as services configure them, and the identity of objects.
#define LOG_TAG "host-hidl"

#include <hidl/HidlTransportSupport.h>
#include <log/log.h>

#include "RpcThreads.h"

namespace android::hardware {

ProcessState* ProcessState::self() {
    static ProcessState state;
    return &state;
}

void ProcessState::startThreadPool() {
    RpcThreads::get().start();
}

void configureRpcThreadpool(size_t maxThreads, bool callerWillJoin) {
    if (maxThreads == 0) LOG_ALWAYS_FATAL("An RPC thread pool needs at least one thread.");
    RpcThreads::get().configure(maxThreads, callerWillJoin);
}

void joinRpcThreadpool() {
    RpcThreads::get().join();
}

bool interfacesEqual(const sp<::android::hidl::base::V1_0::IBase>& left,
                     const sp<::android::hidl::base::V1_0::IBase>& right) {
    if (left == nullptr || right == nullptr || !left->isRemote() || !right->isRemote()) {
        return left == right;
    }
    return toBinder(left) == toBinder(right);
}

}  // namespace android::hardware
