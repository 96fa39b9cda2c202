// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// How long the service waits for a panel to settle. For programs that link with --wrap=usleep.
#pragma once

#include <atomic>

namespace support {

enum class Settling {
    AsPanelsDo,
    AtOnce,
    Held,  // until it is something else
};
extern std::atomic<Settling> settling;

}  // namespace support
