// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Where the cover's own log goes: "AT%LOGSAVE=". LogStream.h sends it.
#pragma once

#include <vector>

#include "emulator/cover/Dispatcher.h"
#include "emulator/cover/Types.h"

namespace cover {

class LogService {
  public:
    explicit LogService(State& state) : mState(state) {}
    std::vector<Route> routes();

  private:
    Answer setMode(std::string_view arguments);

    State& mState;
};

}  // namespace cover
