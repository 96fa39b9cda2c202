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
    // The last one that was reached.
    Phase last;
    // The cover came back, but did not tell its version.
    bool silent = false;

    bool isBack() const { return !last.version.empty(); }
};

// Waits until the cover is back from an upgrade, or until time is over, and tells `reached` each
// phase as it is seen; one that passes unseen is left out. `start` is the dump of when the upgrade
// was started. Looks at the service's dump, which asks nothing of the cover; the cover itself is
// asked for its version, when the service has brought it up again. Throws Failure when the service
// is gone.
Waited waitForUpgrade(const ::android::sp<BivistaV1_0>& service, const Dump& start,
                      std::chrono::seconds timeout,
                      const std::function<void(const Phase&)>& reached);

}  // namespace bivistactl
