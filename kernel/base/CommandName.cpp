// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "kernel/base/CommandName.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr size_t kLongestName = 63;

// Commands that differ in their first argument, as the service sends them.
constexpr const char* kWithArgument[] = {
        "AT%TCHDEBUG=DELTA",       "AT%TCHDEBUG=FWVER",       "AT%TCHDEBUG=GPIO_PIN",
        "AT%TCHDEBUG=RAWDATA",     "AT%TCHDEBUG=RESET",       "AT%TCHNOTIFY=FW_UPGRADE",
        "AT%TCHNOTIFY=LPWG_SD",    "AT%TCHNOTIFY=SD",         "AT%TCHNOTIFY=PULL_SD_RESULT",
        "AT%TCHNOTIFY=SWTICH_AES", "AT%TCHNOTIFY=LPWG_NOTIFY"};

}  // namespace

std::string nameOfCommand(const char* cmd) {
    std::string name(cmd, strcspn(cmd, "\r"));
    for (char& letter : name) letter = 'a' <= letter && letter <= 'z' ? letter - 32 : letter;
    const std::string first = name.substr(0, name.find(','));
    const auto end = std::end(kWithArgument);
    const bool isKnown = std::find(std::begin(kWithArgument), end, first) != end;
    return (isKnown ? first : name.substr(0, name.find('='))).substr(0, kLongestName);
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
