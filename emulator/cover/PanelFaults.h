// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The faults of the panel's hidraw node that are in force.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "emulator/cover/FaultList.h"
#include "emulator/cover/PanelFault.h"

namespace cover {

// What becomes of one call.
struct PanelOutcome {
    int error = 0;                 // it fails with this; 0: it does not
    std::optional<uint64_t> pass;  // only so many bytes pass
    bool unplugs = false;          // the cover is pulled off meanwhile
};

class PanelFaults : public FaultList<PanelFault> {
  public:
    // To be asked about every call, in this order, since both count: how long it takes, and then
    // what becomes of it.
    Time takeDelay(PanelCall call);
    PanelOutcome takeOutcome(PanelCall call);

  private:
    // Those that apply to this call, each used once.
    std::vector<PanelFault> take(PanelCall call, bool late);
};

}  // namespace cover
