// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/client/State.h"

#include <array>

namespace bivistactl {
namespace {

// In the order in which an attach sets them.
constexpr std::array kSteps = {DumpMember{"serial", "attached"},
                               DumpMember{"display", "initialized"},
                               DumpMember{"serial", "logAsked"}};

// A detach clears the path last.
bool isCleared(const Dump& dump, const char* section) {
    return dump.flag({section, "attached"}) == false && dump.text({section, "path"}) == "";
}

}  // namespace

Presence presenceOf(bool isOnUsb, const Dump& dump) {
    size_t done = 0;
    for (const DumpMember& step : kSteps) {
        const std::optional<bool> isDone = dump.flag(step);
        if (!isDone) return Presence::UNKNOWN;
        if (*isDone) ++done;
    }
    if (isOnUsb && done == kSteps.size()) return Presence::ATTACHED;
    const bool isGone =
            !isOnUsb && done == 0 && isCleared(dump, "serial") && isCleared(dump, "subDisplay");
    return isGone ? Presence::DETACHED : Presence::CHANGING;
}

}  // namespace bivistactl
