// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/Digest.h"

#include <cstdio>

#include <zlib.h>

namespace phone {

std::string crc32Of(std::string_view bytes) {
    const uLong digest = crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size());
    char text[sizeof("01234567")];
    snprintf(text, sizeof(text), "%08lx", digest);
    return text;
}

std::string shorten(std::string text) {
    if (text.size() <= kLongestShown) return text;
    return "{\"length\":" + std::to_string(text.size()) + ",\"crc32\":\"" + crc32Of(text) + "\"}";
}

}  // namespace phone
