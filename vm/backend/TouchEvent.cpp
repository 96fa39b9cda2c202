// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "vm/backend/TouchEvent.h"

#include <string_view>

#include "emulator/phone/devices/Uevents.h"

namespace vm {

namespace {

// The kernel's room for an event holds besides what its driver and the kernel itself add.
constexpr size_t kLongestValues = 1500;

}  // namespace

std::optional<std::string> touchRequest(const std::string& event) {
    constexpr std::string_view kKey = "TOUCH_GESTURE_WAKEUP=";
    const std::string first = phone::touchEventMessage("");
    // Before the value and the NUL that ends it.
    const std::string head = first.substr(0, first.size() - 1);
    if (!event.starts_with(head) || event.back() != '\0') return std::nullopt;
    const std::string value = event.substr(head.size(), event.size() - head.size() - 1);
    // More strings may follow the gesture, but none is empty.
    if (value.find(std::string(2, '\0')) != std::string::npos || value.ends_with('\0')) {
        return std::nullopt;
    }
    if (value.size() > kLongestValues) return std::nullopt;
    return "uevent " + std::string(kKey) + value;
}

}  // namespace vm
