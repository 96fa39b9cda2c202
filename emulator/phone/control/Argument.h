// One argument of a request: its type and range, and how "ctl" has it on its command line.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

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
    // Of a text: the only ones. Of a number: they may stand in its place. Of bytes: those that ctl
    // takes; the phone takes any.
    std::vector<std::string> words{};
    // On the command line: "PATH", by its place, or an option; empty: "--" and the name.
    std::string option{};
    std::string help{};
    bool isRequired = false;
    Json otherwise{};         // counts when it is not given; null: nothing does
    Json flag{};              // what an option without a value stands for
    bool isMany = false;      // several words: of a text they are joined, else each is a request
    bool isOfPhone = false;   // the range is the phone's: beyond it the phone refuses (409)
    bool isInCtl = true;      // the command line has it
    bool isInRequest = true;  // not only ctl knows it
};

// One that its request requires, by its place on the command line.
Argument placed(const char* place, const char* name, Type type, const char* help = "");
Argument integer(const char* name, int64_t least, int64_t most, const char* help = "");
// Unless it is given, it is what the option does not stand for.
Argument boolean(const char* name, const char* option, bool flag, const char* help);

bool isNumber(const Argument& argument);

// Nothing, or how the value must be: "must be an integer from 0 to 255".
std::string wrong(const Argument& argument, const Json& value);

// The value that a text stands for, on a command line or in a query. One that it cannot be remains
// a text, which wrong() finds.
Json fromText(const Argument& argument, const std::string& text);

// What a request gives, all checked: bytes as they are meant, defaults for what is not given.
// Throw BadRequest, or phone::Error for what is beyond a range of the phone.
Json readBody(const std::vector<Argument>& arguments, const std::string& body);
Json readQuery(const std::vector<Argument>& arguments,
               const std::multimap<std::string, std::string>& parameters);

// For what an action keeps as it is unless it is given.
template <typename Value>
void take(const Json& given, const char* name, Value& out) {
    if (given.contains(name)) given[name].get_to(out);
}
template <typename Value>
void take(const Json& given, const char* name, std::optional<Value>& out) {
    if (given.contains(name)) out = given[name].get<Value>();
}

}  // namespace control
