// A strong pointer that one thread replaces while others copy it: copying a plain sp while it is
// assigned takes a reference of an object that may be gone.
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
        // The old object is released with the argument, when the lock is free again.
        std::swap(mPointer, pointer);
    }

  private:
    // Leaf lock, held only to copy or swap.
    mutable Mutex mLock;
    ::android::sp<T> mPointer GUARDED_BY(mLock);
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
