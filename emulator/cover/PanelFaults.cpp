// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/PanelFaults.h"

#include <algorithm>

namespace cover {

std::vector<PanelFault> PanelFaults::take(PanelCall call, bool late) {
    std::vector<PanelFault> taken;
    for (size_t i = 0; i < mFaults.size(); ++i) {
        PanelFault& fault = mFaults[i];
        if (fault.call != PanelCall::Any && fault.call != call) continue;
        if ((fault.effect == PanelFault::Effect::Late) != late) continue;
        if (fault.after > 0) {
            --fault.after;
            continue;
        }
        taken.push_back(fault);
        meet(i, name(call));
    }
    dropUsedUp();
    return taken;
}

Time PanelFaults::takeDelay(PanelCall call) {
    Time delay{};
    for (const PanelFault& fault : take(call, true)) delay += fault.time;
    return delay;
}

PanelOutcome PanelFaults::takeOutcome(PanelCall call) {
    PanelOutcome outcome;
    for (const PanelFault& fault : take(call, false)) {
        switch (fault.effect) {
            case PanelFault::Effect::Error:
                outcome.error = fault.error;
                break;
            case PanelFault::Effect::Short:
                outcome.pass = std::min(outcome.pass.value_or(fault.bytes), fault.bytes);
                break;
            case PanelFault::Effect::Unplug:
                outcome.unplugs = true;
                break;
            case PanelFault::Effect::Late:
                break;
        }
    }
    return outcome;
}

}  // namespace cover
