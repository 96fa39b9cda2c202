// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The words of a Parcel.
#pragma once

#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace android::hardware {

// Leaves new elements as they are, for those who fill them at once.
template <typename T>
struct UninitialisedAllocator : std::allocator<T> {
    template <typename U>
    struct rebind {
        using other = UninitialisedAllocator<U>;
    };
    template <typename U>
    void construct(U* element) noexcept {
        ::new (static_cast<void*>(element)) U;
    }
    template <typename U, typename... Args>
    void construct(U* element, Args&&... args) {
        ::new (static_cast<void*>(element)) U(std::forward<Args>(args)...);
    }
};

// resize() does not clear new words.
using ParcelWords = std::vector<uint64_t, UninitialisedAllocator<uint64_t>>;

}  // namespace android::hardware
