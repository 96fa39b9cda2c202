// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The commands of the serial line itself: "AT", and echo with "ATE0" and "ATE1".
#pragma once

#include <vector>

#include "emulator/cover/Dispatcher.h"
#include "emulator/cover/Types.h"

namespace cover {

class BasicService {
  public:
    explicit BasicService(State& state) : mState(state) {}
    std::vector<Route> routes();

  private:
    State& mState;
};

}  // namespace cover
