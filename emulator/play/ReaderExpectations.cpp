// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/ReaderExpectations.h"

#include <iterator>

#include "emulator/cover/Text.h"
#include "emulator/phone/Entry.h"
#include "emulator/phone/calls/Invoke.h"

namespace play {

namespace {

std::string nameOf(phone::Kind kind) {
    return std::string(phone::name(kind));
}

std::vector<std::string> kindNames() {
    std::vector<std::string> names;
    for (int i = 0; phone::kindOf(phone::name(static_cast<phone::Kind>(i))); ++i) {
        names.push_back(nameOf(static_cast<phone::Kind>(i)));
    }
    return names;
}

// Texts within arguments as the journal has them.
Json spelt(Json arguments) {
    if (arguments.is_string()) {
        const auto bytes = cover::unescape(arguments.get<std::string>());
        return bytes ? Json(cover::escape(*bytes)) : arguments;
    }
    // A loop over a number would find the number.
    if (!arguments.is_structured()) return arguments;
    for (Json& inner : arguments) inner = spelt(std::move(inner));
    return arguments;
}

std::string valueOf(const Value& value, size_t at = 0) {
    return spell(value.keys[at]) + ": " + spell(value.items[at]);
}

}  // namespace

std::vector<Expectation> Expectations::items(const Value& value, const std::string& step) {
    std::vector<Expectation> all;
    for (const Value* each : play::each(value)) {
        Patterns patterns = item(*each, step);
        // A state of several values is one item of the file, and as many expectations.
        for (size_t i = 0; i < patterns.size(); ++i) {
            const bool isOne = patterns.size() == 1;
            all.push_back(
                    {each->place,
                     isOne ? cut(valueOf(*each)) : cut("state: " + valueOf(each->items.front(), i)),
                     std::move(patterns[i])});
        }
    }
    if (all.empty()) mValues.refuse(value, "\"" + step + "\" is empty: write what is expected");
    return all;
}

Expectations::Patterns Expectations::item(const Value& value, const std::string& step) {
    std::vector<std::string> known = {"at", "answer", "node", "callback", "journal", "log"};
    // Only what comes can be missing.
    if (step != "never") known.insert(known.end(), {"state", "picture"});
    const Value& key = mValues.onlyKey(value, "what \"" + step + "\" has");
    const std::string name = mValues.word(key, "word of \"" + step + "\"", known);
    const Value& given = value.items.front();
    if (name == "at") return {command(given)};
    if (name == "answer") {
        return {EntryPattern{.kind = nameOf(phone::Kind::TtyTx),
                             .bytes = mValues.spelt(given, "an answer")}};
    }
    if (name == "node") return {node(given)};
    if (name == "callback") return {callback(given)};
    if (name == "journal") return {entry(given)};
    if (name == "log") return {log(given)};
    if (name == "state") return state(given);
    return {mPictures.expected(given)};
}

EntryPattern Expectations::command(const Value& value) const {
    Pattern bytes = mValues.spelt(value, "a command");
    if (bytes.how == Pattern::How::Is) bytes.text += "\\r";
    if (bytes.how == Pattern::How::Matches) bytes.text = "(?:" + bytes.text + ")\\\\r";
    return {.kind = nameOf(phone::Kind::TtyRx), .bytes = bytes};
}

EntryPattern Expectations::node(const Value& value) const {
    const Value& key = mValues.onlyKey(value, "a node");
    const std::string name = cover::escape(key.text);
    const Pattern path = name.starts_with('/') ? Pattern{Pattern::How::Is, name}
                                               : Pattern{Pattern::How::Ends, "/" + name};
    return {.kind = nameOf(phone::Kind::NodeWrite),
            .path = path,
            .bytes = mValues.spelt(value.items.front(), "what is written")};
}

EntryPattern Expectations::callback(const Value& value) const {
    const Value& key = mValues.onlyKey(value, "a callback");
    mValues.word(key, "callback of a client", calls::callbackNames());
    const Value& given = value.items.front();
    EntryPattern pattern = {.kind = nameOf(phone::Kind::ClientCallback),
                            .path = Pattern{Pattern::How::Ends, "." + key.text}};
    if (given.kind == Value::Kind::List) {
        const std::string arguments = spelt(mValues.json(given)).dump();
        pattern.bytes = Pattern{Pattern::How::Is, cover::escape(arguments)};
    } else if (given.kind == Value::Kind::Map) {
        pattern.bytes = mValues.spelt(given, "arguments");
    } else if (given.kind != Value::Kind::Null) {
        mValues.refuse(given, "a callback has a list of arguments, [1, \"TEXT\"], or null for any");
    }
    return pattern;
}

EntryPattern Expectations::entry(const Value& value) const {
    if (value.kind != Value::Kind::Map) {
        mValues.refuse(value, "an entry is {kind: KIND}, with path, bytes and note");
    }
    mValues.requireKeys(value, "member of an entry", {"kind", "path", "bytes", "note"});
    const Value* kind = value.find("kind");
    if (kind == nullptr) mValues.refuse(value, "\"kind\" is missing: the kind of the entry");
    EntryPattern pattern = {.kind = mValues.word(*kind, "kind of entry", kindNames())};
    const auto take = [&](const char* name, std::optional<Pattern>& out) {
        const Value* given = value.find(name);
        if (given != nullptr) out = mValues.spelt(*given, "\"" + std::string(name) + "\"");
    };
    take("path", pattern.path);
    take("bytes", pattern.bytes);
    take("note", pattern.note);
    return pattern;
}

LogPattern Expectations::log(const Value& value) const {
    const Value& key = mValues.onlyKey(value, "a line of the log");
    const std::string priority =
            mValues.word(key, "priority of a line", {"V", "D", "I", "W", "E", "any"});
    LogPattern pattern;
    if (priority != "any") pattern.priority = priority.front();
    pattern.text = mValues.pattern(value.items.front(), "a line of the log");
    return pattern;
}

Expectations::Patterns Expectations::state(const Value& value) const {
    if (value.kind != Value::Kind::Map || value.keys.empty()) {
        mValues.refuse(value, "a state is {/POINTER: VALUE}, such as {/screen/on: true}");
    }
    Patterns all;
    for (size_t i = 0; i < value.keys.size(); ++i) {
        const Value& key = value.keys[i];
        try {
            (void)Json::json_pointer(key.text);
        } catch (const Json::exception&) {
            mValues.refuse(key, "\"" + cut(key.text) +
                                        "\" is no pointer into the state, such as /screen/on");
        }
        all.push_back(StatePattern{key.text, mValues.json(value.items[i])});
    }
    return all;
}

std::vector<Expectation> Expectations::conditions(const Value& value) {
    std::vector<Expectation> all;
    for (const Value* each : play::each(value)) {
        for (auto& pattern : condition(*each)) {
            all.push_back({each->place, cut(spell(*each)), std::move(pattern)});
        }
    }
    if (all.empty()) mValues.refuse(value, "\"wait\" is empty: write a condition");
    return all;
}

Expectations::Patterns Expectations::condition(const Value& value) {
    const std::string what = "condition to wait for";
    if (value.kind == Value::Kind::Text) {
        if (value.text == "calls") mValues.refuse(value, "\"calls\" is waited for alone");
        return {ServicePattern{mValues.word(value, what, {"attached", "detached", "calls"})}};
    }
    const Value& key = mValues.onlyKey(value, "a condition to wait for");
    const Value& given = value.items.front();
    const std::string name =
            mValues.word(key, what, {"screen", "firmware", "sub", "state", "picture"});
    if (name == "state") return state(given);
    if (name == "picture") return {mPictures.expected(given)};
    if (name == "firmware") return {ServicePattern{"firmware=" + mValues.line(given, "a version")}};
    const std::vector<std::string> states =
            name == "screen"
                    ? std::vector<std::string>{"on", "off"}
                    : std::vector<std::string>{"ON", "OFF", "INITIALIZED", "UNINITIALIZED"};
    return {ServicePattern{name + "=" + mValues.word(given, "state of the " + name, states)}};
}

}  // namespace play
