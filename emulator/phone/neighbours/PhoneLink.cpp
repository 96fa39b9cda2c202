// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/neighbours/PhoneLink.h"

namespace neighbours {

void PhoneLink::cut() {
    const android::AutoMutex lock(mLock);
    mJournal = nullptr;
}

void PhoneLink::note(const char* method, const std::string& arguments, const std::string& result) {
    const android::AutoMutex lock(mLock);
    if (mJournal == nullptr) return;
    mJournal->sync();
    mJournal->add(phone::Kind::HidlCall, method, arguments, result);
}

}  // namespace neighbours
