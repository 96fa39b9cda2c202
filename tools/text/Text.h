// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <optional>
#include <string>
#include <string_view>

namespace bivistactl {

// The length of the valid UTF-8 sequence that `bytes` begin with; 0 when they begin with none.
size_t utf8Length(std::string_view bytes);

// The characters of the text; none when it is not UTF-8.
std::optional<std::u32string> decodeUtf8(std::string_view text);

// U+0000 to U+001F, U+007F to U+009F.
bool isControl(char32_t character);

// The text for a person's terminal, which a cover's answer must not steer. Control characters and
// bytes that are not UTF-8 are spelled, as in "<CR>", "<ESC>", "<0x80>". A line feed is kept at the
// end and spelled elsewhere.
std::string spellControls(std::string_view bytes);

// Microseconds of the wall clock as "2026-11-23 04:18:17", in UTC.
std::string inUtc(int64_t wallMicros);

// A line of a table for people: the name, of at most 13 characters, and the text beside it.
std::string row(const std::string& name, const std::string& text);

}  // namespace bivistactl
