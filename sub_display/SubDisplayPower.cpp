// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Power and brightness of the sub display.

#include <cerrno>

#include <unistd.h>

#include "diagnostics/Statistics.h"
#include "kernel/Bivista.h"
#include "sub_display/SubDisplay.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr uint8_t kBrightnessOn = 90;
constexpr uint8_t kBrightnessOff = 0;
constexpr uint32_t kMaxBrightness = 255;

constexpr useconds_t kSettlingTime = 500'000;

constexpr char kPowerFunction[] = "setSubDisplayPowerState";

// Whether the panel may be switched; logged when not.
bool canSwitch(SubScreenState state, bool enable) {
    if (state == SubScreenState::UNINITIALIZED) {
        LOG_ERROR(kNotInitialized);
        sStatistics.recordFailure(kPowerFunction, kNotInitialized);
        return false;
    }
    // A panel that was never switched can be switched both ways.
    const bool isOn = state == SubScreenState::ON;
    if (isOn != enable || state == SubScreenState::INITIALIZED) return true;
    LOG_INFO("Same status is requested, cur_state : %d, isON : %d, enable : %d",
             static_cast<int>(state), isOn, enable);
    sStatistics.recordFailure(kPowerFunction, "Same status is requested");
    return false;
}

// False when the panel refuses.
bool switchPanel(Bivista& service, bool enable) {
    if (service.hidDisplaySetConfig(false, enable, enable ? kBrightnessOn : kBrightnessOff) < 0) {
        sStatistics.recordFailure(kPowerFunction, Cause::ofError(errno));
        return false;
    }
    if (enable) {
        service.subDisplay().startThread();
    } else {
        service.subDisplay().stopThread(kPowerFunction);
        freeFrameBuffers();
    }
    usleep(kSettlingTime);
    service.setSubDisplayState(enable ? SubScreenState::ON : SubScreenState::OFF);
    return true;
}

}  // namespace

Return<Status> Bivista::setSubDisplayPowerState(bool enable) {
    SubDisplay& display = *mSubDisplay;
    const SubScreenState state = display.copyState();
    LOG_INFO("setSubDisplayPowerState ++, enable : %d", enable);
    sStatistics.record(EventKind::kSetting, "subDisplay.power", {enable});
    if (display.sub_power_in_progress.exchange(true)) {
        LOG_ERROR("Sub Display Power state is in progress...");
        sStatistics.recordFailure(kPowerFunction, "Sub Display Power state is in progress");
        // Meant: quirk dropped-is-ok.
        return Status::OK;
    }
    if (!canSwitch(state, enable)) {
        display.sub_power_in_progress = false;
        return Status::FAIL;
    }
    const bool switched = switchPanel(*this, enable);
    display.sub_power_in_progress = false;
    LOG_INFO("setSubDisplayPowerState --");
    return switched ? Status::OK : Status::FAIL;
}

Return<Status> Bivista::setSubDisplayBrightness(int32_t value) {
    LOG_INFO("setSubDisplayBrightness ++, value : %d", value);
    sStatistics.record(EventKind::kSetting, "subDisplay.brightness", {value});
    const SubScreenState state = mSubDisplay->copyState();
    if (state == SubScreenState::UNINITIALIZED) {
        LOG_ERROR(kNotInitialized);
        sStatistics.recordFailure(__func__, kNotInitialized);
        return Status::FAIL;
    }
    if (static_cast<uint32_t>(value) > kMaxBrightness) {
        LOG_ERROR("invalid brightness value:%d", value);
        sStatistics.recordFailure(__func__, "invalid brightness value");
        return Status::FAIL;
    }
    const int32_t result =
            hidDisplaySetConfig(false, state != SubScreenState::OFF, static_cast<uint8_t>(value));
    if (result < 0) sStatistics.recordFailure(__func__, Cause::ofError(errno));
    LOG_INFO("setSubDisplayBrightness --");
    return result < 0 ? Status::FAIL : Status::OK;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
