// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Names of tests that run once for each instance of a service.
#pragma once

#include <cctype>
#include <string>

#include <gtest/gtest.h>

namespace android::hardware {

// The instance's name behind its number, in the letters that GoogleTest allows.
static inline std::string PrintInstanceNameToString(
        const testing::TestParamInfo<std::string>& info) {
    std::string name = std::to_string(info.index) + "_" + info.param;
    for (char& letter : name) {
        if (std::isalnum(static_cast<unsigned char>(letter)) == 0) letter = '_';
    }
    return name;
}

}  // namespace android::hardware
