// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The RPC threads of this process, as generated code asks for them.
#pragma once

namespace android::hardware {

// A process has at most as many RPC threads as configured, one unless told otherwise. They are
// started when a call needs them, after startThreadPool(); a thread that joins counts as one.
class ProcessState {
  public:
    static ProcessState* self();

    // Allows RPC threads from now on. Generated code calls it before an object is handed out.
    void startThreadPool();
};

}  // namespace android::hardware
