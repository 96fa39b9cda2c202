// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/ScreenView.h"

#include "emulator/cover/Text.h"

namespace cover {

ScreenView viewOf(const State& state) {
    const ScreenState& screen = state.screen;
    if (state.power != Power::Running || !screen.hotPlugged()) return {};
    return {true, screen.brightness, screen.rgb, screen.tune, screen.mode};
}

std::string toText(const ScreenView& view) {
    if (!view.on) return "off";
    return "on, brightness " + std::to_string(view.brightness) + " of 255, rgb " + join(view.rgb) +
           ", tune " + join(view.tune) + ", mode " + std::to_string(view.mode);
}

}  // namespace cover
