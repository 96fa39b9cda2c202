// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The firmware's version, the model that the service sets, and its two loaders.
#pragma once

#include <vector>

#include "emulator/cover/Dispatcher.h"
#include "emulator/cover/Types.h"

namespace cover {

class FirmwareService {
  public:
    FirmwareService(State& state, const Options& options) : mState(state), mOptions(options) {}
    std::vector<Route> routes();

  private:
    Answer version() const;
    Answer setModel(std::string_view arguments);

    State& mState;
    const Options& mOptions;
};

}  // namespace cover
