// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The input is the touch driver's text; the command lists numbers, and only such that stand in it.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "display/TouchUpdateState.h"

namespace {

using vendor::qmx::hardware::bivista::V1_1::implementation::makeUpdateStateCommand;

void require(bool condition) {
    if (!condition) std::abort();
}

// What is left of the command behind ",<number>".
std::string dropNumber(const std::string& rest) {
    require(rest[0] == ',');
    char* end = nullptr;
    const long long value = strtoll(rest.c_str() + 1, &end, 10);
    require(value >= INT32_MIN && value <= INT32_MAX);
    const std::string spelt = std::to_string(value);
    require(rest.compare(1, spelt.size(), spelt) == 0);
    return rest.substr(1 + spelt.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::string command = makeUpdateStateCommand(text);
    const std::string head = "AT%TCHUPDATE=UPDATE_STATE";
    require(command.compare(0, head.size(), head) == 0);
    std::string rest = command.substr(head.size());
    std::string numbers;
    while (rest.size() > 1) {
        const std::string next = dropNumber(rest);
        numbers += rest.substr(1, rest.size() - next.size() - 1) + " ";
        rest = next;
    }
    require(rest == "\r");
    // Numbers alone come back as they are.
    require(makeUpdateStateCommand(numbers) == command);
    return 0;
}
