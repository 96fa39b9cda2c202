// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover's screen: power, hot plug, brightness, colour groups and cutout.
#pragma once

#include <array>
#include <string_view>
#include <vector>

#include "emulator/cover/Dispatcher.h"
#include "emulator/cover/Types.h"

namespace cover {

class ScreenService {
  public:
    ScreenService(ScreenState& state, const Options& options) : mState(state), mOptions(options) {}
    std::vector<Route> routes();

  private:
    Answer setPower(std::string_view arguments);
    Answer hotPlug();
    Answer setBrightness(std::string_view arguments);
    Answer setMode(std::string_view arguments);
    Answer cutout() const;

    ScreenState& mState;
    const Options& mOptions;
};

}  // namespace cover
