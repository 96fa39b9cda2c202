// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The options of a debug dump.
#pragma once

#include <cstdint>
#include <string>

#include <hidl/HidlSupport.h>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

struct DumpOptions {
    bool json = false;
    bool reset = false;
    // The events above this number, in the place of the state and the counts.
    bool events = false;
    uint64_t since = 0;
    // What the client reads in the place of a dump, for it asked for help or for what there is not;
    // empty as a rule.
    std::string answer;
};

DumpOptions readOptions(
        const ::android::hardware::hidl_vec<::android::hardware::hidl_string>& options);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
