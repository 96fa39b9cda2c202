// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/text/Text.h"

#include <stdint.h>
#include <stdio.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <bit>

#include "cli/Colour.h"

namespace bivistactl {
namespace {

constexpr const char* kControlNames[32] = {"NUL", "SOH", "STX", "ETX", "EOT", "ENQ", "ACK", "BEL",
                                           "BS",  "HT",  "LF",  "VT",  "FF",  "CR",  "SO",  "SI",
                                           "DLE", "DC1", "DC2", "DC3", "DC4", "NAK", "SYN", "ETB",
                                           "CAN", "EM",  "SUB", "ESC", "FS",  "GS",  "RS",  "US"};

struct Character {
    char32_t value = 0;
    // In bytes of UTF-8; 0 when the bytes begin with no character.
    size_t length = 0;
};

Character firstOf(std::string_view bytes) {
    constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    if (bytes.empty()) return {};
    const auto first = static_cast<uint8_t>(bytes[0]);
    // The first of n bytes begins with n ones and a zero. A single byte is all value.
    const int ones = std::countl_one(first);
    const size_t length = ones == 0 ? 1 : static_cast<size_t>(ones);
    if (ones == 1 || ones > 4 || bytes.size() < length) return {};
    char32_t value = ones == 0 ? first : first & (0x7fu >> length);
    for (const char next : bytes.substr(1, length - 1)) {
        const auto byte = static_cast<uint8_t>(next);
        if ((byte & 0xc0) != 0x80) return {};
        value = value << 6 | (byte & 0x3fu);
    }
    const bool isSurrogate = value >= 0xd800 && value < 0xe000;
    if (value < kLeast[length] || isSurrogate || value > 0x10ffff) return {};
    return {value, length};
}

// Of a control character, or a byte.
std::string spell(char32_t code) {
    if (code < 32) return std::string("<") + kControlNames[code] + ">";
    if (code == 0x7f) return "<DEL>";
    char spelled[16];
    snprintf(spelled, sizeof(spelled), "<0x%02x>", static_cast<unsigned>(code));
    return spelled;
}

}  // namespace

size_t utf8Length(std::string_view bytes) {
    return firstOf(bytes).length;
}

std::optional<std::u32string> decodeUtf8(std::string_view text) {
    std::u32string characters;
    while (!text.empty()) {
        const Character character = firstOf(text);
        if (character.length == 0) return std::nullopt;
        characters.push_back(character.value);
        text.remove_prefix(character.length);
    }
    return characters;
}

bool isControl(char32_t character) {
    return character < 0x20 || (character >= 0x7f && character < 0xa0);
}

std::string spellControls(std::string_view bytes) {
    std::string text;
    while (!bytes.empty() && bytes != "\n") {
        const Character character = firstOf(bytes);
        const size_t length = std::max<size_t>(character.length, 1);
        if (character.length == 0) {
            text += spell(static_cast<uint8_t>(bytes[0]));
        } else if (isControl(character.value)) {
            text += spell(character.value);
        } else {
            text += bytes.substr(0, length);
        }
        bytes.remove_prefix(length);
    }
    return text.append(bytes);
}

std::string inUtc(int64_t wallMicros) {
    const time_t seconds = wallMicros / 1'000'000;
    tm parts = {};
    gmtime_r(&seconds, &parts);
    char text[64] = "";
    strftime(text, sizeof(text), "%F %T", &parts);
    return text;
}

std::string row(const std::string& name, const std::string& text) {
    return cli::inColour(cli::Colour::NAME, name, STDOUT_FILENO) +
           std::string(14 - name.size(), ' ') + text + "\n";
}

}  // namespace bivistactl
