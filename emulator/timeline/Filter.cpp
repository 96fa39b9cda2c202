// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/timeline/Filter.h"

#include <algorithm>
#include <utility>

#include "emulator/cover/Text.h"

namespace timeline {

using phone::Entry;
using phone::Kind;

namespace {

// Items of several entries, or of another name than their entry: the kinds of both.
constexpr std::pair<std::string_view, std::string_view> kParts[] = {
        {"exchange", "tty-rx"},          {"exchange", "tty-tx"},          {"log", "tty-tx"},
        {"unsolicited", "tty-tx"},       {"frame", "hid-write"},          {"call", "client-call"},
        {"callback", "client-callback"}, {"neighbour-call", "hidl-call"},
};

bool isPart(std::string_view item, std::string_view entry) {
    return std::ranges::find(kParts, std::pair(item, entry)) != std::end(kParts);
}

bool contains(std::string_view text, std::string_view part) {
    for (size_t at = 0; at + part.size() <= text.size(); ++at) {
        if (cover::startsWithNoCase(text.substr(at), part)) return true;
    }
    return false;
}

std::vector<std::string> listKindWords() {
    std::vector<std::string> words;
    for (const Lane lane : kLanes) words.emplace_back(name(lane));
    for (int kind = 0;; ++kind) {
        const std::string_view word = phone::name(static_cast<Kind>(kind));
        if (!phone::kindOf(word)) break;
        words.emplace_back(word);
    }
    for (const auto& [item, entry] : kParts) {
        if (words.back() != item) words.emplace_back(item);
    }
    return words;
}

}  // namespace

const std::vector<std::string>& kindWords() {
    static const std::vector<std::string> kWords = listKindWords();
    return kWords;
}

bool Filter::takesTexts(std::initializer_list<std::string_view> texts) const {
    return text.empty() || std::ranges::any_of(texts, [this](std::string_view each) {
               return contains(each, text);
           });
}

bool Filter::takes(const Item& item) const {
    const bool isOver = !item.open && sinceWallUs && item.wallUs + item.durationUs < *sinceWallUs;
    if (isOver) return false;
    const auto isMeant = [&](const std::string& word) {
        if (word == name(item.lane)) return !isBackground(item.kind);
        return word == item.kind || isPart(item.kind, word);
    };
    const bool isWanted =
            kinds.empty() ? !isBackground(item.kind) : std::ranges::any_of(kinds, isMeant);
    return isWanted && takesTexts({item.title, item.detail, item.verdict});
}

bool Filter::takes(const Entry& entry) const {
    const Item item = begin(entry);
    if (sinceWallUs && item.wallUs + item.durationUs < *sinceWallUs) return false;
    const auto isMeant = [&](const std::string& word) {
        const std::string_view kind = phone::name(entry.kind);
        return word == kind || word == name(item.lane) || isPart(word, kind);
    };
    if (!kinds.empty() && !std::ranges::any_of(kinds, isMeant)) return false;
    return text.empty() || takesTexts({cover::escape(entry.path), cover::escape(entry.bytes),
                                       cover::escape(entry.note)});
}

}  // namespace timeline
