// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The touch panel and the pen, which the phone reaches through the microcontroller alone.
#pragma once

#include <string_view>
#include <vector>

#include "emulator/cover/Dispatcher.h"
#include "emulator/cover/Types.h"

namespace cover {

class TouchService {
  public:
    TouchService(TouchState& state, const Options& options) : mState(state), mOptions(options) {}
    std::vector<Route> routes();

  private:
    Answer version() const;
    Answer rawFrame();
    Answer deltaFrame();
    Answer reset();
    Answer upgrade();
    Answer selfTest();
    Answer lpwgSelfTest();
    Answer selfTestReport() const;
    Answer setLpwg(std::string_view arguments);
    Answer setAesMode(std::string_view arguments);
    Answer setPerformance(std::string_view arguments);
    Answer setUpdateState(std::string_view arguments);

    TouchState& mState;
    const Options& mOptions;
};

}  // namespace cover
