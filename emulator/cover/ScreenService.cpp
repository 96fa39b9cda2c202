// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/ScreenService.h"

#include <algorithm>
#include <string>

#include "emulator/cover/Integers.h"

namespace cover {
namespace {

// Exactly as many numbers as the group has.
template <size_t N>
Answer setGroup(std::array<int32_t, N>& group, std::string_view arguments) {
    const auto values = parseIntegers<int32_t>(arguments);
    if (!values || values->size() != N) return refused();
    std::copy(values->begin(), values->end(), group.begin());
    return ok();
}

// Readers would take an empty line for one of the answer.
Answer lineOrNothing(const std::string& line) {
    return line.empty() ? ok() : ok({line});
}

}  // namespace

std::vector<Route> ScreenService::routes() {
    using enum Route::Arguments;
    using Text = std::string_view;
    return {
            {"AT%BV=", Some, [this](Text arguments) { return setPower(arguments); }},
            {"AT%HPD", None, [this](Text) { return hotPlug(); }},
            {"AT%DB=", Some, [this](Text arguments) { return setBrightness(arguments); }},
            {"AT%PRGB=", Some, [this](Text arguments) { return setGroup(mState.rgb, arguments); }},
            {"AT%SHS=", Some, [this](Text arguments) { return setGroup(mState.tune, arguments); }},
            {"AT%SMODE=", Some, [this](Text arguments) { return setMode(arguments); }},
            {"AT%GETBVCUTOUT", None, [this](Text) { return cutout(); }},
    };
}

Answer ScreenService::setPower(std::string_view arguments) {
    if (arguments != "0" && arguments != "1") return refused();
    const bool on = arguments == "1";
    if (on && !mState.on) mState.hotPlugPollsLeft = mOptions.hotPlugPolls;
    mState.on = on;
    return ok();
}

Answer ScreenService::hotPlug() {
    const bool plugged = mState.hotPlugged();
    if (mState.hotPlugPollsLeft > 0) --*mState.hotPlugPollsLeft;
    return lineOrNothing(plugged ? mOptions.hotPlugAnswer : "Off");
}

Answer ScreenService::setBrightness(std::string_view arguments) {
    const std::optional<int> level = parseInteger<int>(arguments);
    if (!level || *level < 0 || *level > 255) return refused();
    mState.brightness = *level;
    return ok();
}

Answer ScreenService::setMode(std::string_view arguments) {
    const std::optional<int32_t> mode = parseInteger<int32_t>(arguments);
    if (!mode) return refused();
    mState.mode = *mode;
    return ok();
}

Answer ScreenService::cutout() const {
    return lineOrNothing(mOptions.cutout);
}

}  // namespace cover
