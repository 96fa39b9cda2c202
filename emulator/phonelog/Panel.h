// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The sub display: reports to its panel, its states, its frames.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "emulator/phonelog/Devices.h"
#include "emulator/phonelog/Threads.h"

namespace phonelog {

// From a line on.
struct PanelState {
    size_t line = 0;
    std::string_view state;  // "UNINITIALIZED", "INITIALIZED", "OFF", "ON"
    size_t width = 128;
    size_t height = 128;
    size_t format = 4;
};

class PanelStates {
  public:
    void add(PanelState state) { mStates.push_back(state); }
    PanelState at(size_t line) const;
    const std::vector<PanelState>& all() const { return mStates; }

  private:
    std::vector<PanelState> mStates;
};

PanelStates addPanel(Draft& draft, const Threads& threads, const Devices& devices);

// What the service told the client of the sub display, from this line on.
void addPanelCallbacks(Draft& draft, const PanelStates& states, size_t from);

// The name of an error, such as EIO, of its text; EIO of one that is not known.
std::string_view errorName(std::string_view text);

}  // namespace phonelog
