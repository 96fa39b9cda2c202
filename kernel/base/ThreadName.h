// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a thread is called in /proc, and so by ps, debuggers and the debug dump.
#pragma once

#include <pthread.h>

#include <cstddef>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Names the calling thread. The kernel keeps 15 bytes of a name.
template <size_t kSize>
void nameThread(const char (&name)[kSize]) {
    static_assert(kSize <= 16);
    pthread_setname_np(pthread_self(), name);
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
