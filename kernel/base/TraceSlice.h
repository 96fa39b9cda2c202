// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A slice of the calling thread's time in the system's trace (atrace, category "hal"). While
// nobody traces, it is the test of a flag. errno is kept.
#pragma once

// Read by the header below.
#define ATRACE_TAG ATRACE_TAG_HAL
#include <cutils/trace.h>

#include <type_traits>

#include "kernel/base/Descriptor.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

class TraceSlice {
  public:
    // From here to the end of the scope.
    explicit TraceSlice(const char* name) : mIsOpen(isTracing()) {
        if (mIsOpen) begin(name);
    }
    // `makeName` returns a std::string. It is called when somebody traces.
    template <typename MakeName, typename = std::enable_if_t<std::is_invocable_v<MakeName>>>
    explicit TraceSlice(const MakeName& makeName) : mIsOpen(isTracing()) {
        if (mIsOpen) begin(makeName().c_str());
    }
    // Not of a slice that began before the tracing did.
    ~TraceSlice() {
        if (!mIsOpen) return;
        const ErrnoKeeper keeper;
        ATRACE_END();
    }
    TraceSlice(const TraceSlice&) = delete;
    TraceSlice& operator=(const TraceSlice&) = delete;

    static bool isTracing() { return ATRACE_ENABLED() != 0; }
    // Call at the start, so that no exchange opens the system's trace.
    static void prepare() { ATRACE_INIT(); }

  private:
    static void begin(const char* name) {
        const ErrnoKeeper keeper;
        ATRACE_BEGIN(name);
    }

    const bool mIsOpen;
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
