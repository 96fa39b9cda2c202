// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A scenario as its file says it: what happens to the phone and its service, and what is expected.
// docs/scenarios.md has the words.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

namespace play {

using Json = nlohmann::ordered_json;
using Milliseconds = std::chrono::milliseconds;

// Where it stands in the file, from 1 on.
struct Place {
    int line = 0;
    int column = 0;
};

// What a text is to be. A plain text in the file means Is.
struct Pattern {
    enum class How {
        Is,
        Contains,
        Matches,  // a regular expression (ECMAScript without back references), whole
        Ends,     // given ends with it; no file says so
    };
    How how = How::Is;
    std::string text;

    bool takes(const std::string& given) const;
};

// --- what is expected ---

// An entry of the journal. Members that are absent may be anything. Bytes, path and note are as in
// the journal's JSON: escaped texts.
struct EntryPattern {
    std::string kind;  // a name of phone::Kind
    std::optional<Pattern> path;
    std::optional<Pattern> bytes;
    std::optional<Pattern> note;
};

// A line of the service's log.
struct LogPattern {
    std::optional<char> priority;  // 'V', 'D', 'I', 'W', 'E'
    Pattern text;
};

// A value of the emulator's state (GET /v1/state), as a JSON pointer and what it is to be.
struct StatePattern {
    std::string pointer;  // "/screen/brightness"
    Json value;
};

// What `bivistactl wait` takes: "attached", "screen=on", ...
struct ServicePattern {
    std::string condition;
};

// What the panel shows, pixel by pixel.
struct PicturePattern {
    std::filesystem::path file;  // a PNG of 16 levels of grey in the panel's size
    size_t width = 0;
    size_t height = 0;
    std::string levels;  // '0' to 'f' a pixel, row by row, as the answer to GET /v1/snapshot
};

struct Expectation {
    Place place;
    std::string text;  // as the file says it, for people; one line
    std::variant<EntryPattern, LogPattern, StatePattern, ServicePattern, PicturePattern> what;
};

// --- what is done ---

// A call of the service's interface.
struct Call {
    std::string method;
    Json arguments = Json::array();
    // The results, in order, as far as they are given; an enumerator by its name. Null takes any
    // value, and an object needs only these members. None: whatever they are. "OK" alone stands for
    // ["OK"].
    std::optional<Json> gives;
    bool background = false;  // the next step begins at once; a wait for "calls" joins it
    Milliseconds limit{60'000};
};

// A request of the emulator's table of abilities.
struct Deed {
    std::string words;  // as after "bivista-emulator ctl", for people
    std::string method;
    std::string path;
    Json values;
};

// A program of this project, to its end.
struct Run {
    std::vector<std::string> words;  // the first is "bivistactl" or "bivista-emulator"
    int status = 0;
    std::optional<Pattern> out;
    std::optional<Pattern> err;
    Milliseconds limit{60'000};
};

struct Pause {
    Milliseconds time{};
};

// Until all hold at one time, or the limit is over.
struct Wait {
    std::vector<Expectation> conditions;
    bool forCalls = false;  // instead: until all background calls are over
    Milliseconds limit{10'000};
};

// Entries and lines are looked for after the last one that an earlier step with order has found;
// each is waited for. In order: each after the one before it, in its own stream (journal, log).
struct Expect {
    std::vector<Expectation> items;
    bool inOrder = true;
    Milliseconds limit{10'000};
};

// None of them has come since the last one that an earlier step with order has found.
struct Never {
    std::vector<Expectation> items;
};

struct Step {
    Place place;
    std::string text;  // for people; one line
    std::variant<Call, Deed, Run, Pause, Wait, Expect, Never> what;
};

struct Start {
    std::vector<std::pair<std::string, std::string>> properties;
    bool cover = true;  // it is on before the service starts
    // Done in this order, before the cover is put on and the service starts: images, panel, faults,
    // anything else.
    std::vector<Step> deeds;
};

struct Scenario {
    std::filesystem::path file;
    std::string name;   // one line
    std::string about;  // what it shows, and why that matters
    Start start;
    std::vector<Step> steps;
};

// What is wrong with a file; what() is "FILE:LINE:COLUMN: what, and what would be right", in one
// line. Of a file that cannot be read "FILE: what".
class Wrong : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Reads and checks a file, pictures included. Throws Wrong.
Scenario read(const std::filesystem::path& file);

}  // namespace play
