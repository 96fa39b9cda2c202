// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/replay/Clients.h"

#include <utility>

namespace replay {

Clients::~Clients() {
    for (std::thread& thread : mThreads) thread.join();
}

void Clients::call(const phone::Entry& entry) {
    mThreads.emplace_back([this, &entry] { carryOut(entry); });
}

bool Clients::wasAlone() const {
    const android::AutoMutex lock(mLock);
    return mWasAlone;
}

std::shared_ptr<calls::Caller> Clients::caller() {
    const android::AutoMutex lock(mLock);
    if (mCaller == nullptr && !mWasAlone) {
        mCaller = calls::Caller::connect(mPatience);
        mWasAlone = mCaller == nullptr;
    }
    return mCaller;
}

void Clients::carryOut(const phone::Entry& entry) {
    const std::string method = entry.path.substr(entry.path.rfind('.') + 1);
    const calls::Json arguments = calls::Json::parse(entry.bytes, nullptr, false);
    const std::string wrong = calls::checkArguments(method, arguments);
    if (!wrong.empty()) {
        mTell("the call of entry " + std::to_string(entry.seq) + " cannot be made: " + wrong);
        return;
    }
    // The journal has the result.
    if (const auto service = caller()) service->call(method, arguments);
}

}  // namespace replay
