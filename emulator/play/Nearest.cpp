// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/Nearest.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "emulator/cover/Text.h"
#include "emulator/timeline/Spelling.h"

namespace play {

using phone::Entry;
using phone::Kind;

namespace {

// As many as people read.
constexpr size_t kMostTold = 5;

bool takes(const std::optional<Pattern>& pattern, const std::string& bytes) {
    return !pattern || pattern->takes(cover::escape(bytes));
}

std::string lastName(const std::string& path, char before) {
    return path.substr(path.rfind(before) + 1);
}

std::string withoutReturn(const std::string& command) {
    return command.ends_with('\r') ? command.substr(0, command.size() - 1) : command;
}

// How many characters both begin with.
size_t commonBegin(std::string_view one, std::string_view other) {
    return static_cast<size_t>(std::ranges::mismatch(one, other).in1 - one.begin());
}

size_t likeness(const Pattern& pattern, const std::string& given) {
    return pattern.takes(given) ? given.size() : commonBegin(pattern.text, given);
}

size_t likeness(const std::optional<Pattern>& pattern, const std::string& bytes) {
    return pattern ? likeness(*pattern, cover::escape(bytes)) : 0;
}

struct Rated {
    size_t number;
    size_t likeness;
};

// The most alike, in the order of their numbers.
void keepNearest(std::vector<Rated>& rated) {
    // The last ones first among equals.
    std::ranges::reverse(rated);
    std::ranges::stable_sort(rated, std::greater(), &Rated::likeness);
    rated.resize(std::min(rated.size(), kMostTold));
    std::ranges::sort(rated, {}, &Rated::number);
}

// `what`: what all are.
template <typename Element>
std::string tell(const Stream<Element>& stream, std::vector<Rated> rated, const std::string& what) {
    if (rated.empty()) return "no " + what;
    std::string text;
    if (rated.size() > kMostTold) {
        text = std::to_string(rated.size()) + " " + what + ", the nearest:";
    }
    keepNearest(rated);
    for (const Rated& each : rated) {
        text += (text.empty() ? "" : "\n") + inWords(stream[each.number]);
    }
    return text;
}

}  // namespace

bool takes(const EntryPattern& pattern, const Entry& entry) {
    return phone::name(entry.kind) == pattern.kind && takes(pattern.path, entry.path) &&
           takes(pattern.bytes, entry.bytes) && takes(pattern.note, entry.note);
}

bool takes(const LogPattern& pattern, const LogLine& line) {
    return (!pattern.priority || *pattern.priority == line.priority) &&
           pattern.text.takes(line.text);
}

std::string inWords(const Entry& entry) {
    const std::string bytes = timeline::spell(entry.bytes);
    switch (entry.kind) {
        case Kind::TtyRx:
            return "at: " + timeline::spell(withoutReturn(entry.bytes));
        case Kind::TtyTx:
            return "answer: " + bytes;
        case Kind::NodeWrite:
            return "node: {" + lastName(entry.path, '/') + ": " + bytes + "}";
        case Kind::ClientCallback:
            return "callback: {" + lastName(entry.path, '.') + ": " +
                   timeline::spellText(entry.bytes) + "}";
        default:
            break;
    }
    std::string text = "journal: {kind: " + std::string(phone::name(entry.kind));
    if (!entry.path.empty()) text += ", path: " + timeline::spell(entry.path);
    if (!entry.bytes.empty()) text += ", bytes: " + bytes;
    if (!entry.note.empty()) text += ", note: " + timeline::spell(entry.note);
    return text + "}";
}

std::string inWords(const LogLine& line) {
    return std::string("log: {") + line.priority + ": " + timeline::spell(line.text) + "}";
}

std::string tellNearest(const EntryPattern& pattern, const Stream<Entry>& entries, size_t from) {
    std::vector<Rated> ofPath;
    std::vector<Rated> others;
    for (size_t i = std::max(from, entries.begin()); i < entries.end(); ++i) {
        const Entry& entry = entries[i];
        if (phone::name(entry.kind) != pattern.kind) continue;
        const size_t alike =
                likeness(pattern.bytes, entry.bytes) + likeness(pattern.note, entry.note);
        (takes(pattern.path, entry.path) ? ofPath : others).push_back({i, alike});
    }
    // An entry of another path is hardly what was meant.
    return tell(entries, ofPath.empty() ? others : ofPath, pattern.kind);
}

std::string tellNearest(const LogPattern& pattern, const Stream<LogLine>& lines, size_t from) {
    std::vector<Rated> rated;
    for (size_t i = std::max(from, lines.begin()); i < lines.end(); ++i) {
        if (lines[i].priority != ' ') rated.push_back({i, likeness(pattern.text, lines[i].text)});
    }
    return tell(lines, std::move(rated), "log lines");
}

}  // namespace play
