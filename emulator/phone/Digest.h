// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Length and checksum in the place of long texts.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace phone {

// The longest text, in bytes, that is shown as it is.
inline constexpr size_t kLongestShown = 256;

// The CRC-32 of zlib and gzip, as eight hexadecimal digits.
std::string crc32Of(std::string_view bytes);

// The text, or {"length":N,"crc32":"XXXXXXXX"} for one that is longer than kLongestShown.
std::string shorten(std::string text);

}  // namespace phone
