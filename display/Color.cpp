#include "display/Color.h"

#include <cstdio>

#include "display/Power.h"
#include "kernel/Bivista.h"
#include "kernel/serial/AtQuery.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

// Holds the longest command, of four numbers.
constexpr size_t kCommandSize = 64;

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
template <typename Group>
void request(Group& group, const int32_t (&values)[Group::kValues]) {
    if (isSame(group, values, Group::kValues)) return;
    for (size_t i = 0; i < Group::kValues; ++i) group[i] = values[i];
    group.waiting() = 1;
    if (bv2_initialized && bv2_screen_on) bv2_display_color_control();
}

template <typename Group>
bool markChanged(Group& group, const Group& applied, size_t compared) {
    if (isSame(group, applied, compared)) return false;
    group.waiting() = 1;
    return true;
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
    // Meant: a change of the fourth value alone is not re-sent.
    changed |= markChanged(prgb, prgb_applied, 3);
    changed |= markChanged(screentune, screentune_applied, screentune.kValues);
    return changed;
}

// Meant: a group no longer waits although its send failed. There is no second try.
int32_t bv2_display_color_control() {
    int32_t result = 0;
    char command[kCommandSize] = {};
    if (prgb.waiting() != 0) {
        snprintf(command, sizeof(command), "%s%d,%d,%d,%d\r", "AT%PRGB=", prgb[0].load(),
                 prgb[1].load(), prgb[2].load(), prgb[3].load());
        result = bv2_display_color_mode_send(command);
        prgb.waiting() = 0;
    }
    if (screentune.waiting() != 0) {
        snprintf(command, sizeof(command), "%s%d,%d,%d\r", "AT%SHS=", screentune[0].load(),
                 screentune[1].load(), screentune[2].load());
        result = bv2_display_color_mode_send(command);
        screentune.waiting() = 0;
    }
    if (screen_mode.waiting() != 0) {
        snprintf(command, sizeof(command), "%s%d\r", "AT%SMODE=", screen_mode[0].load());
        result = bv2_display_color_mode_send(command);
        screen_mode.waiting() = 0;
    }
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
    if (query.failed()) {
        LOG_ERROR("%s: %s, ret: %d", __func__, query.text(), query.result());
    } else {
        LOG_INFO("%s: %s", __func__, query.text());
    }
    return query.result();
}

Return<Status> Bivista::setRgbTune(uint32_t value1, uint32_t value2, uint32_t value3,
                                   uint32_t value4) {
    request(prgb, {static_cast<int32_t>(value1), static_cast<int32_t>(value2),
                   static_cast<int32_t>(value3), static_cast<int32_t>(value4)});
    return Status::OK;
}

// Meant: screen tuning has three values; the fourth is not looked at.
Return<Status> Bivista::setScreenTune(uint32_t value1, uint32_t value2, uint32_t value3,
                                      uint32_t /*ignored*/) {
    request(screentune, {static_cast<int32_t>(value1), static_cast<int32_t>(value2),
                         static_cast<int32_t>(value3)});
    return Status::OK;
}

Return<Status> Bivista::setScreenMode(ScreenMode mode) {
    request(screen_mode, {static_cast<int32_t>(mode)});
    return Status::OK;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
