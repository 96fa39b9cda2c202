// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Bytes as text that people can read and type, without loss.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace cover {

// Printable ASCII stays; \r \n \t \\ \" are spelt so; every other byte is \xHH. Never holds a byte
// outside 0x20..0x7e.
std::string escape(std::string_view bytes);

// The bytes that `text` spells, or nothing when it holds a lone, unknown or unfinished escape.
// unescape(escape(b)) is b for every b. Bytes without a backslash stand for themselves.
std::optional<std::string> unescape(std::string_view text);

// escape(bytes) between double quotes.
std::string quote(std::string_view bytes);

// "1,2,3".
template <typename Numbers>
std::string join(const Numbers& numbers) {
    std::string text;
    for (const auto number : numbers) {
        if (!text.empty()) text += ',';
        text += std::to_string(number);
    }
    return text;
}

// Whether `text` begins with `prefix`, ASCII letters compared without case.
bool startsWithNoCase(std::string_view text, std::string_view prefix);

}  // namespace cover
