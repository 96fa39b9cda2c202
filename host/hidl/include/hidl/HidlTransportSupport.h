// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// RPC threads of this process, casts between interfaces, and identity of objects.
#pragma once

#include <cstddef>

#include <android/hidl/base/1.0/IBase.h>
#include <hidl/HidlBinderSupport.h>
#include <hidl/HidlSupport.h>
#include <hwbinder/IBinder.h>
#include <hwbinder/ProcessState.h>

namespace android::hardware {

// At most `maxThreads` (at least 1) RPC threads serve calls of other processes. With
// `callerWillJoin` one of them is a thread that calls joinRpcThreadpool(); until then calls wait.
// Call it before the first registration.
void configureRpcThreadpool(size_t maxThreads, bool callerWillJoin);

// Serves calls on this thread. Never returns.
void joinRpcThreadpool();

// Whether two interfaces are the same object: the same implementation, or the same remote object.
bool interfacesEqual(const sp<::android::hidl::base::V1_0::IBase>& left,
                     const sp<::android::hidl::base::V1_0::IBase>& right);

namespace details {

template <typename IChild, typename IParent, typename BpChild>
Return<sp<IChild>> castInterface(const sp<IParent>& parent, const char* childIndicator,
                                 bool emitError) {
    if (parent == nullptr) return sp<IChild>();
    if (!canCastInterface(parent.get(), childIndicator, emitError)) return sp<IChild>();
    if (parent->isRemote()) return sp<IChild>(new BpChild(getOrCreateCachedBinder(parent.get())));
    return sp<IChild>(static_cast<IChild*>(parent.get()));
}

}  // namespace details
}  // namespace android::hardware
