// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Numbers as texts, such as the decimal ones in command arguments: the whole text or nothing, as
// the firmware reads them.
#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <vector>

namespace cover {

// An optional "-" (for signed types) and digits, within the range of Integer.
template <typename Integer>
std::optional<Integer> parseInteger(std::string_view text, int base = 10) {
    Integer value{};
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value, base);
    if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
    return value;
}

// Numbers with commas between them, at least one.
template <typename Integer>
std::optional<std::vector<Integer>> parseIntegers(std::string_view text) {
    std::vector<Integer> values;
    for (;;) {
        const size_t comma = text.find(',');
        const std::optional<Integer> value = parseInteger<Integer>(text.substr(0, comma));
        if (!value) return std::nullopt;
        values.push_back(*value);
        if (comma == std::string_view::npos) return values;
        text.remove_prefix(comma + 1);
    }
}

}  // namespace cover
