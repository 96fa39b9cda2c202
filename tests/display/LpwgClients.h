// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Clients of touch and pen events: callbacks of each version that record their calls.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <ostream>
#include <vector>

#include <utils/Mutex.h>
#include <vendor/qmx/hardware/bivista/1.1/IBivistaLpwgCallback.h>

#include "kernel/Bivista.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

struct LpwgCall {
    int minor;  // of the version whose method was called: 0 or 1
    int32_t status;
    int32_t result;

    bool operator==(const LpwgCall&) const = default;
};

inline void PrintTo(const LpwgCall& call, std::ostream* out) {
    *out << "1." << call.minor << " (" << call.status << ", " << call.result << ")";
}

// What both versions share. Any thread.
class LpwgCalls {
  public:
    std::vector<LpwgCall> calls() const EXCLUDES(mLock) {
        const ::android::AutoMutex lock(mLock);
        return mCalls;
    }
    // Waits until there are this many.
    void waitFor(size_t count) const EXCLUDES(mLock) {
        const ::android::AutoMutex lock(mLock);
        while (mCalls.size() < count) mAdded.wait(mLock);
    }

  protected:
    Return<void> add(int minor, int32_t status, int32_t result) EXCLUDES(mLock) {
        const ::android::AutoMutex lock(mLock);
        mCalls.push_back({minor, status, result});
        mAdded.notify_all();
        return Void();
    }

  private:
    mutable ::android::Mutex mLock;
    mutable std::condition_variable_any mAdded;
    std::vector<LpwgCall> mCalls GUARDED_BY(mLock);
};

struct LpwgClient1_0 : V1_0::IBivistaLpwgCallback, LpwgCalls {
    Return<void> onLpwgEvent(V1_0::LpwgEventStatus status, int32_t result) override {
        return add(0, static_cast<int32_t>(status), result);
    }
};

struct LpwgClient1_1 : V1_1::IBivistaLpwgCallback, LpwgCalls {
    Return<void> onLpwgEvent(V1_0::LpwgEventStatus status, int32_t result) override {
        return add(0, static_cast<int32_t>(status), result);
    }
    Return<void> onLpwgEvent_1_1(V1_1::LpwgEventStatus status, int32_t result) override {
        return add(1, static_cast<int32_t>(status), result);
    }
};

// One whose process is gone.
struct DeadLpwgClient : V1_0::IBivistaLpwgCallback {
    Return<void> onLpwgEvent(V1_0::LpwgEventStatus /*status*/, int32_t /*result*/) override {
        return ::android::hardware::Status::fromStatusT(::android::DEAD_OBJECT);
    }
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
