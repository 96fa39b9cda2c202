// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Path of a device node, shared between the thread that watches /dev and the threads that open it.
#pragma once

#include <cstddef>
#include <string>

#include "kernel/base/Mutex.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

class DevicePath {
  public:
    // Longest path kept, its NUL included.
    static constexpr size_t kCapacity = 1024;

    // "/dev" + "/" + name, cut at the capacity.
    void set(const char* name);
    void clear();

    // Copies the path, empty when there is none.
    void copyTo(char (&path)[kCapacity]) const;

    // Last path component; "." when there is no path, as basename() gives it.
    std::string name() const;

    // Whether the node exists.
    bool isThere() const;
    // Opens the node, closed on exec. Negative with errno set on failure, which is logged with the
    // caller's name.
    int open(int flags, const char* function) const;

  private:
    // Leaf lock, held only to copy.
    mutable Mutex mLock;
    char mPath[kCapacity] GUARDED_BY(mLock) = {};
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
