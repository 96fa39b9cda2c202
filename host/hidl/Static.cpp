// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The tables that generated code fills. They are made at first use, before main() perhaps, and
// never destroyed, since threads and static objects use them until the very end.
#include <hidl/Static.h>

namespace android::hardware::details {

BnConstructorMap& getBnConstructorMap() {
    static auto* const map = new BnConstructorMap;
    return *map;
}

BnMap* const gBnMap = new BnMap;

const ServicePrioMap* const gServicePrioMap = new ServicePrioMap;
const ServiceSidMap* const gServiceSidMap = new ServiceSidMap;

sp<IBinder> BnMap::getOrMake(::android::hidl::base::V1_0::IBase* impl, const Maker& make) {
    const AutoMutex lock(mMutex);
    if (auto it = mMap.find(impl); it != mMap.end()) {
        // An object whose last reference is going on another thread cannot be promoted any more.
        if (sp<IBinder> object = it->second.weak.promote(); object != nullptr) return object;
    }
    sp<IBinder> object = make();
    if (object != nullptr) mMap[impl] = Entry{object, object->localBinder()};
    return object;
}

void BnMap::eraseIfEqual(::android::hidl::base::V1_0::IBase* impl, BHwBinder* object) {
    const AutoMutex lock(mMutex);
    if (auto it = mMap.find(impl); it != mMap.end() && it->second.object == object) mMap.erase(it);
}

}  // namespace android::hardware::details
