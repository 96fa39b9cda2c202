// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/Text.h"

#include <algorithm>

namespace cover {
namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::optional<char> unescapeLetter(char letter) {
    switch (letter) {
        case 'r':
            return '\r';
        case 'n':
            return '\n';
        case 't':
            return '\t';
        case '\\':
        case '"':
            return letter;
        default:
            return std::nullopt;
    }
}

std::optional<char> unescapeHex(std::string_view digits) {
    if (digits.size() < 2) return std::nullopt;
    const size_t high = kHexDigits.find(lower(digits[0]));
    const size_t low = kHexDigits.find(lower(digits[1]));
    if (high == std::string_view::npos || low == std::string_view::npos) return std::nullopt;
    return static_cast<char>(high << 4 | low);
}

void appendEscaped(std::string& out, char c) {
    const auto byte = static_cast<unsigned char>(c);
    switch (c) {
        case '\r':
            out += "\\r";
            return;
        case '\n':
            out += "\\n";
            return;
        case '\t':
            out += "\\t";
            return;
        case '\\':
        case '"':
            out += '\\';
            out += c;
            return;
        default:
            break;
    }
    if (byte >= 0x20 && byte <= 0x7e) {
        out += c;
        return;
    }
    out += "\\x";
    out += kHexDigits[byte >> 4];
    out += kHexDigits[byte & 0xf];
}

}  // namespace

std::string escape(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size());
    for (const char c : bytes) appendEscaped(out, c);
    return out;
}

std::optional<std::string> unescape(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            out += text[i];
            continue;
        }
        if (++i == text.size()) return std::nullopt;
        const bool hex = text[i] == 'x';
        const std::optional<char> byte =
                hex ? unescapeHex(text.substr(i + 1)) : unescapeLetter(text[i]);
        if (!byte) return std::nullopt;
        out += *byte;
        if (hex) i += 2;
    }
    return out;
}

std::string quote(std::string_view bytes) {
    return '"' + escape(bytes) + '"';
}

bool startsWithNoCase(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() &&
           std::equal(prefix.begin(), prefix.end(), text.begin(),
                      [](char a, char b) { return lower(a) == lower(b); });
}

}  // namespace cover
