// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/control/Argument.h"

#include <algorithm>

#include "emulator/cover/Integers.h"
#include "emulator/cover/Text.h"
#include "emulator/phone/Phone.h"

namespace control {

namespace {

bool isBytes(const Argument& argument) {
    return argument.type == Type::Bytes || argument.type == Type::Verbatim;
}

bool isWithin(const Json& value, int64_t least, int64_t most) {
    if (!value.is_number_integer() || (value.is_number_unsigned() && value > uint64_t{INT64_MAX})) {
        return false;
    }
    const auto number = value.get<int64_t>();
    return number >= least && number <= most;
}

bool hasType(const Argument& argument, const Json& value) {
    if (argument.type == Type::Integer) return isWithin(value, INT32_MIN, INT32_MAX);
    if (argument.type == Type::Natural) return isWithin(value, 0, kMostNatural);
    return argument.type == Type::Boolean ? value.is_boolean() : value.is_string();
}

bool isRight(const Argument& argument, const Json& value) {
    const std::vector<std::string>& words = argument.words;
    if (!words.empty() && value.is_string() && !isBytes(argument)) {
        return std::find(words.begin(), words.end(), value) != words.end();
    }
    return hasType(argument, value) &&
           (!isNumber(argument) || isWithin(value, argument.least, argument.most));
}

// "A, B or C".
std::string describe(const Argument& argument) {
    std::vector<std::string> choices;
    if (isNumber(argument)) {
        choices.push_back("an integer from " + std::to_string(argument.least) + " to " +
                          std::to_string(argument.most));
    } else if (argument.type == Type::Boolean) {
        choices = {"true", "false"};
    } else if (argument.words.empty() || isBytes(argument)) {
        return "a text";
    }
    for (const std::string& word : argument.words) choices.push_back("\"" + word + "\"");
    std::string text = choices.front();
    for (size_t i = 1; i < choices.size(); ++i) {
        text += (i + 1 < choices.size() ? ", " : " or ") + choices[i];
    }
    return text;
}

// The value in the form that the action takes.
Json read(const Argument& argument, const Json& value) {
    const std::string error = wrong(argument, value);
    const std::string name = "\"" + argument.name + "\" ";
    if (!error.empty() && argument.isOfPhone && hasType(argument, value)) {
        throw phone::Error(name + error);
    }
    if (!error.empty()) throw BadRequest(name + error);
    if (!isBytes(argument)) return value;
    const std::optional<std::string> bytes = cover::unescape(value.get<std::string>());
    if (bytes) return *bytes;
    throw BadRequest(name + "has a wrong escape: write \\\\ for a backslash, \\xHH for a byte");
}

Json readAll(const std::vector<Argument>& arguments, const Json& given) {
    Json values = Json::object();
    for (const Argument& argument : arguments) {
        const auto value = given.find(argument.name);
        if (!argument.isInRequest) continue;
        if (value != given.end() && !value->is_null()) {
            values[argument.name] = read(argument, *value);
        } else if (argument.isRequired) {
            throw BadRequest("\"" + argument.name + "\" is missing");
        } else if (!argument.otherwise.is_null()) {
            values[argument.name] = argument.otherwise;
        }
    }
    return values;
}

}  // namespace

Argument placed(const char* place, const char* name, Type type, const char* help) {
    return {.name = name, .type = type, .option = place, .help = help, .isRequired = true};
}

Argument integer(const char* name, int64_t least, int64_t most, const char* help) {
    return {.name = name, .type = Type::Integer, .least = least, .most = most, .help = help};
}

Argument milliseconds(const char* name, const char* help) {
    return integer(name, 0, 24 * 60 * 60 * 1000, help);
}

Argument boolean(const char* name, const char* option, bool flag, const char* help) {
    return {.name = name,
            .type = Type::Boolean,
            .option = option,
            .help = help,
            .otherwise = !flag,
            .flag = flag};
}

bool isNumber(const Argument& argument) {
    return argument.type == Type::Integer || argument.type == Type::Natural;
}

std::string optionOf(const Argument& argument) {
    if (!argument.option.empty()) return argument.option;
    std::string option = "--" + argument.name;
    std::replace(option.begin(), option.end(), '_', '-');
    return option;
}

std::string wrong(const Argument& argument, const Json& value) {
    return isRight(argument, value) ? "" : "must be " + describe(argument);
}

Json fromText(const Argument& argument, const std::string& text) {
    if (isNumber(argument)) {
        if (const auto number = cover::parseInteger<int64_t>(text)) return *number;
    }
    return text;
}

Json readBody(const std::vector<Argument>& arguments, const std::string& body) {
    const Json given = body.empty() ? Json::object() : Json::parse(body, nullptr, false);
    if (!given.is_object()) throw BadRequest("the body must be a JSON object");
    Json values = readAll(arguments, given);
    for (const auto& [name, value] : given.items()) {
        const auto isKnown = [&name = name](const Argument& argument) {
            return argument.isInRequest && argument.name == name;
        };
        if (std::none_of(arguments.begin(), arguments.end(), isKnown)) {
            throw BadRequest("unknown member \"" + name + "\"");
        }
    }
    return values;
}

std::string print(const std::vector<Argument>& arguments, Json values) {
    for (const Argument& argument : arguments) {
        const auto value = values.find(argument.name);
        if (value != values.end() && isBytes(argument)) {
            *value = cover::escape(value->get<std::string>());
        }
    }
    // A text of a query may be no UTF-8.
    return values.dump(-1, ' ', true, Json::error_handler_t::replace);
}

Json readQuery(const std::vector<Argument>& arguments,
               const std::multimap<std::string, std::string>& parameters) {
    Json given = Json::object();
    for (const Argument& argument : arguments) {
        const auto value = parameters.find(argument.name);
        if (value != parameters.end()) given[argument.name] = fromText(argument, value->second);
    }
    return readAll(arguments, given);
}

}  // namespace control
