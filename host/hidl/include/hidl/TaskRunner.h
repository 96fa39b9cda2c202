// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Queue of passthrough wrappers for oneway methods. Nothing makes such wrappers here.
#pragma once

#include <cstddef>
#include <functional>

namespace android::hardware::details {

class TaskRunner {
  public:
    void start(size_t /*limit*/) {}
    // Refuses: a wrapper then reports a failed transaction.
    bool push(const std::function<void()>& /*task*/) { return false; }
};

}  // namespace android::hardware::details
