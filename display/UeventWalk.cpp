// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "display/UeventWalk.h"

#include <cstring>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr char kSubsystem[] = "SUBSYSTEM=QMX_BV2";
constexpr char kEventKey[] = "TOUCH_GESTURE_WAKEUP=";

}  // namespace

const char* UeventWalk::findSubsystem() {
    while (*mString != '\0') {
        // Meant: quirk subsystem-anywhere.
        if (strstr(mString, kSubsystem) != nullptr) return mString;
        next();
    }
    return nullptr;
}

const char* UeventWalk::next() {
    if (*mString != '\0') mString += strlen(mString) + 1;
    return *mString != '\0' ? mString : nullptr;
}

const char* findEventText(const char* string) {
    const char* key = strstr(string, kEventKey);
    return key != nullptr ? key + strlen(kEventKey) : nullptr;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
