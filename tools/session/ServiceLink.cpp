// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/session/ServiceLink.h"

#include <utility>

namespace session {
namespace {

using ::android::AutoMutex;
using ::android::sp;
using ::android::wp;
using ::android::hidl::base::V1_0::IBase;

// Between two looks at the registry for a service that is absent.
constexpr nsecs_t kPause = 200'000'000;

}  // namespace

ServiceLink::ServiceLink(Changes changes) : mChanges(std::move(changes)) {}

void ServiceLink::begin() {
    take(BivistaV1_0::tryGetService(), false);
    mThread = std::thread(&ServiceLink::lookWhileAbsent, this);
}

void ServiceLink::end() {
    sp<BivistaV1_0> service;
    {
        const AutoMutex lock(mMutex);
        mIsEnded = true;
        std::swap(service, mService);
        mIsChanged.signal();
    }
    if (mThread.joinable()) mThread.join();
    if (service != nullptr) (void)service->unlinkToDeath(this).isOk();
}

sp<BivistaV1_0> ServiceLink::service() {
    {
        const AutoMutex lock(mMutex);
        if (mService != nullptr) return mService;
    }
    const sp<BivistaV1_0> found = bivistactl::findService();
    take(found, true);
    return found;
}

bool ServiceLink::isPresent() {
    const AutoMutex lock(mMutex);
    return mService != nullptr;
}

void ServiceLink::lose(const sp<BivistaV1_0>& service) {
    uint64_t number = 0;
    {
        const AutoMutex lock(mMutex);
        if (mService != service) return;
        number = mNumber;
    }
    loseNumber(number);
}

void ServiceLink::serviceDied(uint64_t cookie, const wp<IBase>&) {
    loseNumber(cookie);
}

void ServiceLink::loseNumber(uint64_t number) {
    // Released without the lock.
    sp<BivistaV1_0> lost;
    const AutoMutex lock(mMutex);
    if (mService == nullptr || mNumber != number) return;
    std::swap(lost, mService);
    mChanges.died();
    mIsChanged.signal();
}

void ServiceLink::take(const sp<BivistaV1_0>& service, bool isTold) {
    if (service == nullptr) return;
    uint64_t number = 0;
    {
        const AutoMutex lock(mMutex);
        if (mService != nullptr || mIsEnded) return;
        mService = service;
        number = ++mNumber;
        if (isTold) mChanges.returned();
    }
    // Not under the lock, which the news of its death takes.
    const auto linked = service->linkToDeath(this, number);
    if (!linked.isOk()) loseNumber(number);
}

void ServiceLink::lookWhileAbsent() {
    while (true) {
        {
            const AutoMutex lock(mMutex);
            while (mService != nullptr && !mIsEnded) mIsChanged.wait(mMutex);
            if (!mIsEnded) mIsChanged.waitRelative(mMutex, kPause);
            if (mIsEnded) return;
        }
        if (!isPresent()) take(BivistaV1_0::tryGetService(), true);
    }
}

}  // namespace session
