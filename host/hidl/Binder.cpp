// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Served objects.
#include <hwbinder/Binder.h>

namespace android::hardware {

status_t BHwBinder::transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags,
                             TransactCallback callback) {
    return onTransact(code, data, reply, flags, std::move(callback));
}

status_t BHwBinder::linkToDeath(const sp<DeathRecipient>& /*recipient*/) {
    return INVALID_OPERATION;
}

status_t BHwBinder::unlinkToDeath(const wp<DeathRecipient>& /*recipient*/) {
    return INVALID_OPERATION;
}

}  // namespace android::hardware
