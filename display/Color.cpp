// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "display/Color.h"

#include <string>

#include "diagnostics/Statistics.h"
#include "kernel/Bivista.h"
#include "kernel/serial/AtQuery.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

// What a panel holds after it was attached.
constexpr int32_t kFreshPrgb[] = {2, 0, 0, 0, 0};
constexpr int32_t kFreshScreentune[] = {2, 2, 2, 0};
constexpr int32_t kFreshScreenMode[] = {0, 0};

// Whether the first `count` values are the same.
template <typename Group, typename Other>
bool isSame(const Group& group, const Other& other, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        if (group[i] != other[i]) return false;
    }
    return true;
}

// Keeps new values, and sends what waits when the screen can take it.
template <typename Group, typename... Values>
void request(Group& group, Values... values) {
    static_assert(sizeof...(values) == Group::kValues);
    const int32_t wanted[] = {static_cast<int32_t>(values)...};
    if (isSame(group, wanted, Group::kValues)) return;
    for (size_t i = 0; i < Group::kValues; ++i) group[i] = wanted[i];
    group.waiting() = 1;
    if (bv2_initialized && bv2_screen_on) bv2_display_color_control();
}

template <typename Group>
bool markChanged(Group& group, const Group& applied, size_t compared) {
    if (isSame(group, applied, compared)) return false;
    group.waiting() = 1;
    return true;
}

// Sends the group if it waits, and then sets the result.
template <typename Group>
void sendWaiting(Group& group, const char* prefix, int32_t* result) {
    if (group.waiting() == 0) return;
    std::string command = prefix;
    for (size_t i = 0; i < Group::kValues; ++i) {
        if (i > 0) command += ',';
        command += std::to_string(group[i]);
    }
    *result = bv2_display_color_mode_send((command + '\r').c_str());
    // Meant: quirk colour-sent-once.
    group.waiting() = 0;
}

}  // namespace

ColorGroup<5> prgb(kFreshPrgb);
ColorGroup<4> screentune(kFreshScreentune);
ColorGroup<2> screen_mode(kFreshScreenMode);

ColorGroup<5> prgb_applied(kFreshPrgb);
ColorGroup<4> screentune_applied(kFreshScreentune);
ColorGroup<2> screen_mode_applied(kFreshScreenMode);

void saveAppliedColor() {
    screen_mode_applied.copy(screen_mode);
    prgb_applied.copy(prgb);
    screentune_applied.copy(screentune);
}

void resetAppliedColor() {
    prgb_applied.copy(kFreshPrgb);
    screentune_applied.copy(kFreshScreentune);
    screen_mode_applied.copy(kFreshScreenMode);
}

bool markChangedColor() {
    bool changed = markChanged(screen_mode, screen_mode_applied, screen_mode.kValues);
    // Meant: quirk fourth-rgb-value.
    changed |= markChanged(prgb, prgb_applied, 3);
    changed |= markChanged(screentune, screentune_applied, screentune.kValues);
    return changed;
}

int32_t bv2_display_color_control() {
    int32_t result = 0;
    sendWaiting(prgb, "AT%PRGB=", &result);
    sendWaiting(screentune, "AT%SHS=", &result);
    sendWaiting(screen_mode, "AT%SMODE=", &result);
    return result;
}

int32_t bv2_display_color_mode_send(const char* command) {
    Bivista* const service = sDisplayService;
    if (service == nullptr) {
        LOG_ERROR("%s: bv2 null", __func__);
        return -1;
    }
    LOG_INFO("%s: at cmd path:%s", __func__, command);
    const AtQuery<> query(*service, command);
    if (!query.failed()) {
        LOG_INFO("%s: %s", __func__, query.text());
    } else {
        LOG_ERROR("%s: %s, ret: %d", __func__, query.text(), query.result());
    }
    return query.result();
}

Return<Status> Bivista::setRgbTune(uint32_t value1, uint32_t value2, uint32_t value3,
                                   uint32_t value4) {
    sStatistics.record(EventKind::kSetting, "colour.rgb", {value1, value2, value3, value4});
    request(prgb, value1, value2, value3, value4);
    return Status::OK;
}

// Meant: the cover's screen tuning has three values; clients pass four to every tuning.
Return<Status> Bivista::setScreenTune(uint32_t value1, uint32_t value2, uint32_t value3,
                                      uint32_t /*ignored*/) {
    sStatistics.record(EventKind::kSetting, "colour.tune", {value1, value2, value3});
    request(screentune, value1, value2, value3);
    return Status::OK;
}

Return<Status> Bivista::setScreenMode(ScreenMode mode) {
    sStatistics.record(EventKind::kSetting, "colour.mode", {static_cast<int64_t>(mode)});
    request(screen_mode, mode);
    return Status::OK;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
