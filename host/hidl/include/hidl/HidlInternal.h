// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Small pieces shared by the HIDL headers; not for users.
#pragma once

#include <cstdint>

#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

#ifndef LIKELY
#define LIKELY(exp) (__builtin_expect((exp) != 0, true))
#endif
#ifndef UNLIKELY
#define UNLIKELY(exp) (__builtin_expect((exp) != 0, false))
#endif

namespace android::hidl::base::V1_0 {
struct IBase;
}

namespace android::hardware::details {

// Tags by which templates tell the kinds of generated classes apart.
struct bphw_tag {};
struct bnhw_tag {};
struct bs_tag {};
struct i_tag {};

// A pointer that takes 8 bytes on every architecture.
template <typename T>
class hidl_pointer {
  public:
    hidl_pointer() : mPointer(nullptr) {}
    hidl_pointer(T* ptr) : mPointer(ptr) {}
    hidl_pointer& operator=(T* ptr) {
        mPointer = ptr;
        return *this;
    }
    operator T*() const { return mPointer; }

  private:
    alignas(8) T* mPointer;
};
static_assert(sizeof(hidl_pointer<char>) == 8, "wrong size");

// Logs the message and aborts.
[[noreturn]] void logFatal(const char* message);

// Aborts unless the index is inside.
void checkIndex(size_t index, size_t size);

}  // namespace android::hardware::details
