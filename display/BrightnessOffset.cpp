// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The shift of the cover screen's brightness against the phone's.

#include "diagnostics/Statistics.h"
#include "display/Brightness.h"
#include "kernel/Bivista.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr int32_t kFloor = 10;
constexpr int32_t kDefaultMax = 255;
// Not an offset but a command: arms the bypass.
constexpr int32_t kBypassCommand = 100;

// 32-bit arithmetic that wraps, as the phone's processor does it.
int32_t add(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
int32_t subtract(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}
int32_t multiply(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}
// Division by zero gives 0 there, and a trap on other processors.
int32_t divide(int32_t a, int32_t b) {
    return b == 0 ? 0 : a / b;
}

int32_t plainRule(int32_t brightness, int32_t offset) {
    return add(brightness, multiply(2, offset));
}

// For a negative offset with no step left: the shifted line, and below it a line that compresses
// the low levels, so that they do not all fall to the floor.
int32_t negativeRule(int32_t brightness, int32_t offset) {
    const int32_t a = subtract(0, offset);
    const int32_t quad = multiply(4, a);
    if (brightness > add(quad, kFloor)) return subtract(brightness, multiply(2, a));
    return add(kFloor, divide(multiply(multiply(2, a), subtract(brightness, kFloor)), quad));
}

int32_t toFloor(int32_t brightness) {
    // Meant: quirk limit-said-twice.
    LOG_INFO("lower than min. br : set %d to %d", kFloor, kFloor);
    LOG_INFO("[%s] %d -> %d\n", "dd", brightness, kFloor);
    return kFloor;
}

int32_t limited(int32_t brightness, int32_t mapped, int32_t max) {
    if (mapped > max) {
        // Meant: quirk limit-said-twice.
        LOG_INFO("bigger than max. br : set %d to %d", max, max);
        mapped = max;
    }
    LOG_INFO("[%s] %d -> %d\n", "dd", brightness, mapped);
    return mapped;
}

// Steps of the mapping that do not depend on the offset's sign; false when there is none.
bool takePlainStep(int32_t brightness, int32_t offset, int32_t max, int32_t* mapped)
        REQUIRES(display_lock) {
    static constexpr char kFunction[] = "br_to_offset_br";
    if (brightness > max) {
        LOG_ERROR("max br level");
        *mapped = max;
        return true;
    }
    if (br_offset_bypass) {
        LOG_INFO("%s: br_offset_bypass true", kFunction);
        br_offset_bypass = false;
        *mapped = plainRule(brightness, offset);
        return true;
    }
    if (br_offset_count >= 1) {
        LOG_INFO("%s: br_offset_count: %d", kFunction, br_offset_count);
        --br_offset_count;
        *mapped = plainRule(brightness, offset);
        return true;
    }
    if (br_offset_count < 0) {
        // Meant: quirk count-said-to-be-reset.
        LOG_INFO("%s: set br_offset_count 0, current: %d", kFunction, br_offset_count);
    }
    return false;
}

}  // namespace

int32_t br_to_offset_br(int32_t brightness, int32_t max) {
    if (max == 0) max = kDefaultMax;
    if (brightness < kFloor) {
        LOG_ERROR("min br level");
        return toFloor(brightness);
    }
    const int32_t offset = br_offset;
    int32_t mapped = 0;
    if (!takePlainStep(brightness, offset, max, &mapped)) {
        // Meant: quirk positive-offset-once.
        if (offset >= 0) return limited(brightness, brightness, max);
        mapped = negativeRule(brightness, offset);
    }
    return mapped < kFloor ? toFloor(brightness) : limited(brightness, mapped, max);
}

Return<Status> Bivista::setBVBrightnessOffset(int32_t value) {
    sStatistics.record(EventKind::kSetting, "offset", {value});
    if (!bv2_initialized) {
        // Meant: quirk offset-without-a-cover.
        LOG_ERROR("%s: bv2 not initialized, value:%d", __func__, value);
        sStatistics.recordFailure(__func__, kDisplayNotInitialized);
        br_offset = value;
        return Status::OK;
    }
    int32_t brightness = 0;
    {
        const MutexLock lock(display_lock, __func__);
        if (!bv2_screen_on) {
            br_offset = value;
            LOG_INFO("request br_offset is %d", value);
            sStatistics.recordFailure(__func__, "the screen is off");
            return Status::FAIL;
        }
        if (value == kBypassCommand) {
            br_offset_bypass = true;
            // Meant: quirk misspelt-enalble.
            LOG_INFO("enalble br offset bypass");
            return Status::OK;
        }
        br_offset = value;
        LOG_INFO("request br_offset is %d", value);
        br_offset_bypass = false;
        br_offset_count = add(br_offset_count, 1);
        brightness = brightness_value;
    }
    return setBrightness(brightness);
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
