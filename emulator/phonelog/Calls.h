// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Calls of clients, as far as lines tell that there was one.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "emulator/phonelog/Panel.h"
#include "emulator/phonelog/Threads.h"

namespace phonelog {

// The service's last word on its USB side.
inline constexpr std::string_view kStopped = "destroy set";

// The lines of a call.
struct Span {
    size_t first = 0;
    size_t last = 0;
};

struct Calls {
    std::vector<Span> spans;      // in the order of their begin
    std::vector<size_t> offsets;  // lines at which an offset queued the last level once more
    bool hasLpwgCallback = false;
    bool clearsLpwg = false;        // what SIGUSR1 does, too
    size_t subCallback = SIZE_MAX;  // the line of the first; SIZE_MAX: none
};

Calls addCalls(Draft& draft, const Threads& threads, const PanelStates& panel);

// Calls of setBrightness, which say nothing themselves: from what their worker sends.
void addBrightness(Draft& draft, const Threads& threads, const Calls& calls);

}  // namespace phonelog
