// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// One argument of a request: its type and range, and its place on the command line of "ctl".
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "emulator/cover/Types.h"

namespace control {

using Json = nlohmann::ordered_json;

// The request itself is wrong, whatever the state of the phone. Answered 400.
class BadRequest : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

enum class Type {
    Text,
    Bytes,     // a text that spells them, as cover::escape() does
    Verbatim,  // the same for a request; on a command line the bytes themselves
    Boolean,
    Integer,  // of 32 bits
    Natural,  // kMostNatural at most
};

inline constexpr int64_t kMostNatural = 999'999'999'999'999'999;

struct Argument {
    // The member of a body; of a GET or DELETE, the parameter of the query.
    std::string name;
    Type type = Type::Text;
    int64_t least = 0;  // of a number
    int64_t most = 0;
    // For a text: its only values. For a number: words that may stand in its place. For bytes: the
    // values that ctl takes; the phone takes any.
    std::vector<std::string> words{};
    // On the command line: "PATH", by place, or an option; empty: "--" and the name.
    std::string option{};
    std::string help{};
    bool isRequired = false;
    Json otherwise{};         // the default; null: none
    Json flag{};              // the value of an option without a value
    bool isMany = false;      // several words: of a text they are joined, else each is a request
    bool isOfPhone = false;   // the range is the phone's: beyond it the phone refuses (409)
    bool isInCtl = true;      // ctl's command line has it
    bool isInRequest = true;  // the request has it, not only ctl
};

// An argument that its request requires, by place on the command line.
Argument placed(const char* place, const char* name, Type type, const char* help = "");
Argument integer(const char* name, int64_t least, int64_t most, const char* help = "");
// A time: 0 to a day.
Argument milliseconds(const char* name, const char* help);
// The option stands for `flag`; without the option the value is the opposite.
Argument boolean(const char* name, const char* option, bool flag, const char* help);

bool isNumber(const Argument& argument);

// How the command line names it: "PATH", or "--width".
std::string optionOf(const Argument& argument);

// Nothing, or how the value must be: "must be an integer from 0 to 255".
std::string wrong(const Argument& argument, const Json& value);

// The value that a text on a command line or in a query stands for. A text that stands for no value
// of the type remains a text, which wrong() finds.
Json fromText(const Argument& argument, const std::string& text);

// The values of a request, all checked: bytes as they are meant, defaults for missing arguments.
// Throw BadRequest, or phone::Error for a value outside a range of the phone.
Json readBody(const std::vector<Argument>& arguments, const std::string& body);
Json readQuery(const std::vector<Argument>& arguments,
               const std::multimap<std::string, std::string>& parameters);

// Checked values as one line of JSON, spelt as in a request.
std::string print(const std::vector<Argument>& arguments, Json values);

// Changes `out` only when the request gives the value.
template <typename Value>
void take(const Json& given, const char* name, Value& out) {
    if (given.contains(name)) given[name].get_to(out);
}
template <typename Value>
void take(const Json& given, const char* name, std::optional<Value>& out) {
    if (given.contains(name)) out = given[name].get<Value>();
}
// From milliseconds.
inline void takeMs(const Json& given, const char* name, cover::Time& out) {
    if (given.contains(name)) out = std::chrono::milliseconds(given[name].get<int>());
}

}  // namespace control
