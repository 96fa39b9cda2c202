// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/neighbours/PhoneLink.h"

namespace neighbours {

void PhoneLink::cut() {
    const android::AutoMutex lock(mLock);
    mPhone = nullptr;
}

void PhoneLink::note(const char* method, const std::string& arguments, const std::string& result) {
    const android::AutoMutex lock(mLock);
    if (mPhone == nullptr) return;
    mPhone->journal().sync();
    mPhone->journal().add(phone::Kind::HidlCall, method, arguments, result);
}

bool PhoneLink::isCoverAttached() {
    const android::AutoMutex lock(mLock);
    return mPhone != nullptr && mPhone->cover.isAttached();
}

}  // namespace neighbours
