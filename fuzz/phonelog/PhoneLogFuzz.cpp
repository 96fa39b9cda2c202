// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The input is a phone's log: whatever it holds, an import ends, and a recording comes of it whose
// entries are in the order of time, with and without its texts.
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>

#include "emulator/phonelog/Import.h"

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

void requireWhole(const recording::Recording& recording) {
    require(!recording::toJson(recording.header).empty());
    std::chrono::nanoseconds last{-1};
    for (const phone::Entry& entry : recording.entries) {
        require(entry.time > last);
        require(!phone::toJson(entry).empty());
        last = entry.time;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::istringstream stream(std::string(reinterpret_cast<const char*>(data), size));
    std::optional<phonelog::ServiceLog> log;
    try {
        log = phonelog::readServiceLog(stream, std::nullopt);
    } catch (const phonelog::NotALog&) {
        return 0;
    }
    if (!log) return 0;
    for (const bool redacts : {false, true}) {
        try {
            requireWhole(phonelog::importLog(*log, redacts).recording);
        } catch (const phonelog::TooLong&) {
        }
    }
    return 0;
}
