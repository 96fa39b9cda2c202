// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/Nearest.h"

#include <algorithm>
#include <functional>
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
size_t likeness(std::string_view one, std::string_view other) {
    return static_cast<size_t>(std::ranges::mismatch(one, other).in1 - one.begin());
}

// Of the pattern's text and what was given; a pattern that is no plain text is like nothing.
size_t likeness(const std::optional<Pattern>& pattern, const std::string& bytes) {
    if (!pattern) return 0;
    const std::string given = cover::escape(bytes);
    constexpr size_t kWhole = 1000;
    return pattern->takes(given) ? kWhole : likeness(pattern->text, given);
}

size_t likeness(const EntryPattern& pattern, const Entry& entry) {
    // An entry of another path is hardly what was meant.
    constexpr size_t kOfPath = 100'000;
    const bool isOfPath = takes(pattern.path, entry.path);
    return (isOfPath ? kOfPath : 0) + likeness(pattern.bytes, entry.bytes) +
           likeness(pattern.note, entry.note);
}

size_t likeness(const LogPattern& pattern, const LogLine& line) {
    return likeness(pattern.text, line.text);
}

template <typename Element>
struct Rated {
    size_t number;
    size_t likeness;
};

// The elements that may stand for what was expected, the most like it alone if they are many.
template <typename Element, typename Pattern>
std::string tell(const Pattern& pattern, const Stream<Element>& stream, size_t from,
                 const std::string& what, const std::function<bool(const Element&)>& isCandidate) {
    std::vector<Rated<Element>> rated;
    for (size_t i = std::max(from, stream.begin()); i < stream.end(); ++i) {
        if (isCandidate(stream[i])) rated.push_back({i, likeness(pattern, stream[i])});
    }
    if (rated.empty()) return "no " + what;
    const size_t all = rated.size();
    // The last ones first among equals.
    std::ranges::reverse(rated);
    std::ranges::stable_sort(rated, std::greater(), &Rated<Element>::likeness);
    rated.resize(std::min(all, kMostTold));
    std::ranges::sort(rated, {}, &Rated<Element>::number);
    std::string text =
            std::to_string(all) + " " + what + (all > kMostTold ? ", the nearest:" : ":");
    for (const auto& [number, ignored] : rated) text += "\n" + inWords(stream[number]);
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
    return tell<Entry>(pattern, entries, from, pattern.kind,
                       [&](const Entry& entry) { return phone::name(entry.kind) == pattern.kind; });
}

std::string tellNearest(const LogPattern& pattern, const Stream<LogLine>& lines, size_t from) {
    return tell<LogLine>(pattern, lines, from, "log lines",
                         [](const LogLine& line) { return line.priority != ' '; });
}

}  // namespace play
