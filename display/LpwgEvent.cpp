// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "display/LpwgEvent.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

struct Event {
    const char* name;
    LpwgEventStatus status;
};

constexpr Event kEvents[] = {
        {"WAKEUP", LpwgEventStatus::WAKEUP},
        {"BV_PEN_WAKEUP", LpwgEventStatus::BV_PEN_WAKEUP},
        {"BV_PEN_WAKEUP_BTN", LpwgEventStatus::BV_PEN_WAKEUP_BTN},
        {"BV_PEN_DETECTION", LpwgEventStatus::BV_PEN_DETECTION},
        {"SWITCH_AES_BOTH", LpwgEventStatus::SWITCH_AES_BOTH},
        {"SWITCH_AES_TO_1", LpwgEventStatus::SWITCH_AES_TO_1},
        {"SWITCH_AES_TO_2", LpwgEventStatus::SWITCH_AES_TO_2},
        {"BV_UPDATE_STATE", LpwgEventStatus::BV_UPDATE_STATE},
};

}  // namespace

int32_t getLpwgStatusHelper_1_1(LpwgEventStatus& status, std::string& token) {
    for (const Event& event : kEvents) {
        if (token != event.name) continue;
        status = event.status;
        return 0;
    }
    status = LpwgEventStatus::UNKNOWN;
    return -1;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
