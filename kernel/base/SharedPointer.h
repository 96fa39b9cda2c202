// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A strong pointer that one thread replaces while other threads copy it. A copy of a plain sp that
// is being assigned may take a reference of an object that is gone.
#pragma once

#include <utility>

#include <utils/StrongPointer.h>

#include "kernel/base/Mutex.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

template <typename T>
class SharedPointer {
  public:
    ::android::sp<T> get() const {
        const LeafLock lock(mLock);
        return mPointer;
    }

    void set(::android::sp<T> pointer) {
        const LeafLock lock(mLock);
        // The argument now has the old object, and releases it after the lock.
        std::swap(mPointer, pointer);
    }

  private:
    // Leaf lock, held only to copy or swap.
    mutable Mutex mLock;
    ::android::sp<T> mPointer GUARDED_BY(mLock);
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
