// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "tools/client/Dump.h"
#include "tools/client/Service.h"

namespace bivistactl {

// A step of an upgrade that was seen.
struct Phase {
    // "started", "cover gone", "loader seen", "cover back".
    std::string name;
    // Since the start.
    double seconds;
    // What the cover runs; of "cover back" alone.
    std::string version;
};

// What became of the wait for an upgrade.
struct Waited {
    // The last phase that was reached.
    Phase last;
    // The cover came back, but did not answer with its version.
    bool silent = false;

    bool isBack() const { return !last.version.empty(); }
};

// Waits until the cover is back from an upgrade, or until time is over. Calls `reached` with each
// phase as it is seen; a phase that passes unseen is left out. `start` is the dump of when the
// upgrade was started.
// The phases come from the service's dump, which asks nothing of the cover. The cover itself is
// asked only for its version, when the service has brought it up again. Throws Failure when the
// service is gone.
Waited waitForUpgrade(const ::android::sp<BivistaV1_0>& service, const Dump& start,
                      std::chrono::seconds timeout,
                      const std::function<void(const Phase&)>& reached);

}  // namespace bivistactl
