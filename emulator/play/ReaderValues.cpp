// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/ReaderValues.h"

#include <algorithm>
#include <chrono>

#include "cli/Suggestion.h"
#include "emulator/cover/Integers.h"
#include "emulator/cover/Text.h"
#include "emulator/play/Pattern.h"
#include "emulator/play/Words.h"

namespace play {

namespace {

constexpr Milliseconds kLongest = std::chrono::minutes(10);
constexpr size_t kLongestExpression = 4096;

// A word that may be anything.
std::string quoted(const std::string& text) {
    return "\"" + cut(text, 60) + "\"";
}

std::string join(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : &word == &words.back() ? " or " : ", ") + word;
    }
    return text;
}

const char* nameOf(Value::Kind kind) {
    if (kind == Value::Kind::Null) return "nothing";
    if (kind == Value::Kind::Text) return "a text";
    return kind == Value::Kind::List ? "a list" : "a map (NAME: VALUE)";
}

}  // namespace

std::vector<const Value*> each(const Value& value) {
    if (value.kind != Value::Kind::List) return {&value};
    std::vector<const Value*> all;
    for (const Value& item : value.items) all.push_back(&item);
    return all;
}

void Values::refuse(const Value& value, const std::string& what) const {
    play::refuse(mFile, value.place, what);
}

void Values::refuseWord(const Value& word, const std::string& what,
                        const std::vector<std::string>& known) const {
    constexpr size_t kMostListed = 10;
    const std::string near = cli::suggest(word.text, known);
    const std::string all =
            known.size() > kMostListed ? "docs/scenarios.md lists them" : "it is " + join(known);
    refuse(word, quoted(word.text) + " is no " + what + (near.empty() ? ": " + all : near));
}

void Values::requireKeys(const Value& map, const std::string& what,
                         const std::vector<std::string>& known) const {
    for (const Value& key : map.keys) {
        if (std::ranges::find(known, key.text) == known.end()) refuseWord(key, what, known);
    }
}

const Value& Values::onlyKey(const Value& map, const std::string& what) const {
    if (map.kind != Value::Kind::Map || map.keys.empty()) {
        refuse(map, what + " is NAME: VALUE, not " + nameOf(map.kind));
    }
    if (map.keys.size() > 1) {
        refuse(map.keys[1], what + " has one name: begin another with \"- \" in front of " +
                                    quoted(map.keys[1].text));
    }
    return map.keys.front();
}

const std::string& Values::text(const Value& value, const std::string& name) const {
    if (value.kind == Value::Kind::Text) return value.text;
    refuse(value, name + " must be a text, not " + nameOf(value.kind));
}

std::string Values::line(const Value& value, const std::string& name) const {
    std::string line = text(value, name);
    while (line.ends_with('\n')) line.pop_back();
    if (line.empty()) refuse(value, name + " is empty: write a line");
    if (line.find('\n') != std::string::npos) refuse(value, name + " must be one line");
    return line;
}

bool Values::flag(const Value& value, const std::string& name) const {
    const std::string word = value.kind == Value::Kind::Text ? value.text : "";
    if (word == "on" || word == "true") return true;
    if (word == "off" || word == "false") return false;
    refuse(value, name + " must be on or off");
}

int Values::number(const Value& value, const std::string& name, int least, int most) const {
    const auto number = cover::parseInteger<int>(text(value, name));
    if (number && *number >= least && *number <= most) return *number;
    refuse(value, name + " must be an integer from " + std::to_string(least) + " to " +
                          std::to_string(most) + ", not " + quoted(value.text));
}

Milliseconds Values::time(const Value& value, const std::string& name) const {
    const std::string& given = text(value, name);
    const bool isShort = given.ends_with("ms");
    const size_t unit = given.find_last_not_of("ms") + 1;
    const auto number = cover::parseInteger<int>(given.substr(0, unit));
    const std::string end = given.substr(unit);
    if (!number || *number < 0 || (end != "ms" && end != "s")) {
        refuse(value, name + " must be a time, such as 100ms or 3s, not " + quoted(given));
    }
    const Milliseconds time =
            isShort ? Milliseconds(*number) : Milliseconds(std::chrono::seconds(*number));
    if (time > Milliseconds(0) && time <= kLongest) return time;
    refuse(value, name + " must be from 1ms to 600s, not " + quoted(given));
}

std::vector<std::string> Values::words(const Value& value, const std::string& name) const {
    std::vector<std::string> all;
    if (value.kind == Value::Kind::List) {
        for (const Value& item : value.items) all.push_back(text(item, "a word of " + name));
    } else {
        auto parts = split(text(value, name));
        if (!parts) refuse(value, name + " has a quote that does not end");
        all = *std::move(parts);
    }
    if (all.empty()) refuse(value, name + " is empty: write a command");
    for (const std::string& word : all) {
        if (word.find('\0') != std::string::npos) refuse(value, name + " holds a byte \\x00");
    }
    return all;
}

std::string Values::word(const Value& value, const std::string& name,
                         const std::vector<std::string>& known) const {
    const std::string& given = text(value, name);
    if (std::ranges::find(known, given) == known.end()) refuseWord(value, name, known);
    return given;
}

Pattern Values::pattern(const Value& value, const std::string& name) const {
    if (value.kind == Value::Kind::Text) return {Pattern::How::Is, value.text};
    if (value.kind != Value::Kind::Map) {
        refuse(value, name + " must be a text, {contains: TEXT} or {matches: EXPRESSION}, not " +
                              nameOf(value.kind));
    }
    requireKeys(value, "way to compare", {"contains", "matches"});
    const Value& key = onlyKey(value, name);
    const Value& given = value.items.front();
    const std::string& wanted = text(given, "\"" + key.text + "\"");
    if (key.text == "contains") return {Pattern::How::Contains, wanted};
    try {
        if (wanted.size() > kLongestExpression) {
            refuse(given,
                   "an expression has at most " + std::to_string(kLongestExpression) + " bytes");
        }
        compile(wanted);
    } catch (const std::regex_error&) {
        refuse(given, quoted(wanted) +
                              " is no regular expression; a sign that has a meaning there, such as "
                              "( or [, is written \\( or \\[");
    }
    return {Pattern::How::Matches, wanted};
}

std::string Values::spelling(const Value& value, const std::string& text) const {
    const std::optional<std::string> bytes = cover::unescape(text);
    if (bytes) return cover::escape(*bytes);
    refuse(value, quoted(text) +
                          " has a wrong escape: it is \\r, \\n, \\t, \\\\, \\\" or \\xHH; between "
                          "double quotes YAML wants each \\ twice");
}

Pattern Values::spelt(const Value& value, const std::string& name) const {
    Pattern pattern = this->pattern(value, name);
    if (pattern.how != Pattern::How::Matches) pattern.text = spelling(value, pattern.text);
    return pattern;
}

Json Values::json(const Value& value) const {
    if (value.kind == Value::Kind::Null) return nullptr;
    if (value.kind == Value::Kind::Text) {
        if (!value.isPlain) return value.text;
        const Json read = Json::parse(value.text, nullptr, false);
        return read.is_number() || read.is_boolean() ? read : Json(value.text);
    }
    const bool isMap = value.kind == Value::Kind::Map;
    Json json = isMap ? Json::object() : Json::array();
    for (size_t i = 0; i < value.items.size(); ++i) {
        if (isMap) {
            json[value.keys[i].text] = this->json(value.items[i]);
        } else {
            json.push_back(this->json(value.items[i]));
        }
    }
    return json;
}

}  // namespace play
