// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/timeline/Spelling.h"

#include <utility>

#include "emulator/cover/Text.h"
#include "emulator/timeline/Item.h"

namespace timeline {

namespace {

constexpr std::string_view kMore = "...";

std::string shorten(std::string text) {
    if (text.size() <= kLongestText) return text;
    return text.substr(0, kLongestText).append(kMore);
}

std::string spellBut(std::string_view bytes, std::string_view plain) {
    std::string text;
    // One byte more than is kept, so that shorten() finds what is cut.
    for (const char byte : bytes.substr(0, kLongestText + 1)) {
        if (plain.find(byte) != std::string_view::npos) {
            text += byte;
        } else {
            text += cover::escape({&byte, 1});
        }
    }
    return shorten(std::move(text));
}

}  // namespace

std::string spell(std::string_view bytes) {
    return spellBut(bytes, "\"");
}

std::string spellText(std::string_view text) {
    return spellBut(text, "\"\\");
}

void append(std::string& text, std::string_view part) {
    if (text.size() > kLongestText || part.empty()) return;
    text = shorten(text.empty() ? std::string(part) : text.append(" | ").append(part));
}

}  // namespace timeline
