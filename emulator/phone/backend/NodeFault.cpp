// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/backend/NodeFault.h"

#include <array>
#include <optional>
#include <utility>

#include "emulator/cover/Text.h"
#include "emulator/phone/Error.h"

namespace phone {

namespace {

constexpr std::string_view kWord = "node";

constexpr std::array<std::pair<std::string_view, NodeEffect>, 5> kEffects = {{
        {"missing", NodeEffect::Missing},
        {"unreadable", NodeEffect::Unreadable},
        {"unwritable", NodeEffect::Unwritable},
        {"eio", NodeEffect::Eio},
        {"read-eio", NodeEffect::ReadEio},
}};

constexpr char kUsage[] = "write: node PATH missing|unreadable|unwritable|eio|read-eio";

std::string_view trim(std::string_view text) {
    const size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

}  // namespace

bool isNodeFault(std::string_view text) {
    const std::string_view words = trim(text);
    return words.substr(0, words.find(' ')) == kWord;
}

NodeFault parseNodeFault(std::string_view text) {
    const std::string_view words = trim(trim(text).substr(kWord.size()));
    const size_t gap = words.find_last_of(' ');
    if (gap == std::string_view::npos) throw Error(kUsage);
    std::string path(trim(words.substr(0, gap)));
    if (path.size() >= 2 && path.front() == '"' && path.back() == '"') {
        const std::optional<std::string> spelt = cover::unescape(path.substr(1, path.size() - 2));
        if (!spelt) throw Error("a wrong \"\\\" in " + path + "; " + kUsage);
        path = *spelt;
    } else if (path.find(' ') != std::string::npos) {
        throw Error("a path with blanks needs double quotes; " + std::string(kUsage));
    }
    if (path.empty() || path[0] != '/')
        throw Error("the path must begin with \"/\"; " + std::string(kUsage));
    for (const auto& [word, effect] : kEffects) {
        if (words.substr(gap + 1) == word) return {path, effect};
    }
    throw Error("unknown effect \"" + std::string(words.substr(gap + 1)) + "\"; " + kUsage);
}

std::string toText(const NodeFault& fault) {
    std::string text(kWord);
    text += " \"" + cover::escape(fault.path) + "\" ";
    for (const auto& [word, effect] : kEffects) {
        if (effect == fault.effect) text += word;
    }
    return text;
}

}  // namespace phone
