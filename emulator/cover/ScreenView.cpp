// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/ScreenView.h"

#include <algorithm>
#include <cmath>

#include "emulator/cover/Text.h"

namespace cover {

ScreenView viewOf(const State& state) {
    const ScreenState& screen = state.screen;
    if (state.power != Power::Running || !screen.hotPlugged()) return {};
    return {true, screen.brightness, screen.rgb, screen.tune, screen.mode};
}

Colour colourOf(const ScreenView& view) {
    if (!view.on) return {};
    const double kMost = 255;
    std::array<double, 3> light{};
    for (size_t i = 0; i < light.size(); ++i) light[i] = std::clamp(view.rgb[i + 1], 0, 255);
    const double greatest = *std::max_element(light.begin(), light.end());
    for (double& each : light) each = kMost - (greatest - each) * 0.75;

    double saturation = 1 + (std::clamp(view.tune[0], 0, 4) - 2) * 0.25;
    if (view.mode == 2) saturation *= 1.5;
    const double grey = (light[0] + light[1] + light[2]) / 3;
    for (double& each : light) each = grey + (each - grey) * saturation;
    if (view.mode == 1) light[2] *= 0.75;
    if (view.mode == 3) light[2] *= 0.875;

    const double brightness = std::clamp(view.brightness, 0, 255) / kMost;
    const double lit = 1 - 0.78 * std::pow(1 - brightness, 1.3);
    const auto shown = [=](double value) {
        return static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, kMost) * lit));
    };
    return {shown(light[0]), shown(light[1]), shown(light[2])};
}

std::string toText(const ScreenView& view) {
    if (!view.on) return "off";
    return "on, brightness " + std::to_string(view.brightness) + " of 255, rgb " + join(view.rgb) +
           ", tune " + join(view.tune) + ", mode " + std::to_string(view.mode);
}

}  // namespace cover
