// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/neighbours/Registration.h"

#include <utility>

#include <hidl/ServiceManagement.h>

#include "emulator/phone/Phone.h"

namespace neighbours {

namespace {

using ::android::OK;
using ::android::sp;
using ::android::hardware::details::declareServiceInternal;
using ::android::hardware::details::registerAsServiceInternal;
using ::android::hardware::details::undeclareServiceInternal;
using ::android::hardware::details::unregisterServiceInternal;
using ::android::hidl::base::V1_0::IBase;

constexpr char kInstance[] = "default";

}  // namespace

Registration::Registration(sp<IBase> service, std::string what)
    : mService(std::move(service)), mWhat(std::move(what)) {}

Registration::~Registration() {
    withdraw();
}

void Registration::serve() {
    const android::AutoMutex lock(mLock);
    if (mServed) return;
    if (registerAsServiceInternal(mService, kInstance) != OK) {
        throw phone::Error("cannot register the " + mWhat +
                           ": the line above tells why; another registry folder is chosen with "
                           "HIDL_SOCKET_DIR");
    }
    mServed = true;
    // Also what an emulator left that was killed.
    undeclare();
}

void Registration::declare() {
    const android::AutoMutex lock(mLock);
    if (declareServiceInternal(mService, kInstance) != OK) {
        throw phone::Error("cannot declare the " + mWhat + ": the line above tells why");
    }
    mDeclared = true;
    unregister();
}

void Registration::withdraw() {
    const android::AutoMutex lock(mLock);
    unregister();
    if (mDeclared) undeclare();
}

bool Registration::isServed() const {
    const android::AutoMutex lock(mLock);
    return mServed;
}

bool Registration::isDeclared() const {
    const android::AutoMutex lock(mLock);
    return mDeclared;
}

void Registration::unregister() {
    if (mServed) unregisterServiceInternal(mService, kInstance);
    mServed = false;
}

void Registration::undeclare() {
    undeclareServiceInternal(mService, kInstance);
    mDeclared = false;
}

}  // namespace neighbours
