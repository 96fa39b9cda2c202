// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Walks through the input as a message of the kernel, and compares with the list of its strings.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "display/LpwgEvent.h"
#include "display/UeventWalk.h"

namespace {

using namespace vendor::qmx::hardware::bivista::V1_1::implementation;
using vendor::qmx::hardware::bivista::V1_1::LpwgEventStatus;

constexpr size_t kLongest = 2047;

void require(bool condition) {
    if (!condition) std::abort();
}

// The strings up to the first empty one.
std::vector<std::string> split(const std::vector<char>& message) {
    std::vector<std::string> strings;
    for (const char* at = message.data(); *at != '\0'; at += strings.back().size() + 1) {
        strings.emplace_back(at);
    }
    return strings;
}

void checkEvent(const char* string) {
    const char* text = findEventText(string);
    const size_t key = std::string(string).find("TOUCH_GESTURE_WAKEUP=");
    require((text != nullptr) == (key != std::string::npos));
    if (text == nullptr) return;
    require(text == string + key + 21);
    std::string token = text;
    LpwgEventStatus status = LpwgEventStatus::WAKEUP;
    const int32_t result = getLpwgStatusHelper_1_1(status, token);
    require(result == (status == LpwgEventStatus::UNKNOWN ? -1 : 0));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > kLongest) return 0;
    // Exactly as long as the worker's message, so that a step too far is seen.
    std::vector<char> message(data, data + size);
    message.insert(message.end(), 2, '\0');
    const std::vector<std::string> strings = split(message);

    UeventWalk walk(message.data());
    size_t at = 0;
    while (const char* subsystem = walk.findSubsystem()) {
        while (strings.at(at).find("SUBSYSTEM=QMX_BV2") == std::string::npos) ++at;
        require(strings[at++] == subsystem);
        const char* following = walk.next();
        require((following == nullptr) == (at == strings.size()));
        if (following == nullptr) break;
        require(strings[at] == following);
        checkEvent(following);
    }
    for (; at < strings.size(); ++at) {
        require(strings[at].find("SUBSYSTEM=QMX_BV2") == std::string::npos);
    }
    return 0;
}
