// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Reads any bytes as a scenario: it is one within its bounds, or refused in one line with its
// place.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "emulator/play/Reader.h"

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    try {
        const play::Scenario scenario = play::readBytes(bytes, "/nowhere/s.yaml");
        require(!scenario.name.empty() && !scenario.steps.empty());
    } catch (const play::Wrong& wrong) {
        const std::string what = wrong.what();
        require(what.starts_with("/nowhere/s.yaml:"));
        require(what.find('\n') == std::string::npos);
        require(what.size() < 1000);
    }
    return 0;
}
