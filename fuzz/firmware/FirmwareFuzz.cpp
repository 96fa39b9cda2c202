// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The input's first line is a cover's version, the others are the names in a folder of images.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "kernel/firmware/FirmwareChoice.h"

namespace {

using vendor::qmx::hardware::bivista::V1_1::implementation::FirmwareChoice;
using vendor::qmx::hardware::bivista::V1_1::implementation::isNewerThanCover;
using Verdict = FirmwareChoice::Verdict;

void require(bool condition) {
    if (!condition) std::abort();
}

// A line, cut at its first NUL as texts are.
std::string takeLine(std::string_view& input) {
    const size_t end = input.find('\n');
    const std::string_view line = input.substr(0, end);
    input.remove_prefix(end == std::string_view::npos ? input.size() : end + 1);
    return std::string(line.substr(0, line.find('\0')));
}

void checkKeys(char* selected, const std::string& version) {
    const bool newer = isNewerThanCover(selected, version.c_str());
    require(selected[FirmwareChoice::kCapacity] == '\0');
    // The key alone is left, but for the sign that is put back.
    require(newer || strchr(selected, '_') == nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view input(reinterpret_cast<const char*>(data), size);
    const std::string version = takeLine(input);
    if (version.size() >= FirmwareChoice::kCapacity) return 0;
    // On the heap, where a byte too far is seen.
    const auto buffer = std::make_unique<char[]>(FirmwareChoice::kCapacity + 1);
    char* const selected = buffer.get();
    FirmwareChoice choice(version.c_str(), selected);
    while (!input.empty()) {
        const std::string name = takeLine(input);
        const bool hadSelection = choice.hasSelection();
        const Verdict verdict = choice.take(name.c_str());
        require(verdict != Verdict::kFirst || !hadSelection);
        require(verdict != Verdict::kNewer || hadSelection);
        require(verdict != Verdict::kMismatch || choice.lastMismatch() == name);
        if (verdict == Verdict::kFirst) require(name == selected);
        if (verdict == Verdict::kNewer)
            require(name.compare(0, name.size(), selected, name.size()) == 0);
        if (verdict == Verdict::kTooLong) return 0;
    }
    require(strlen(selected) < FirmwareChoice::kCapacity);
    require(choice.hasSelection() == (selected[0] != '\0'));
    checkKeys(selected, version);
    return 0;
}
