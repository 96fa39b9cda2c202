// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/text/JsonArguments.h"

#include <limits>
#include <nlohmann/json.hpp>

namespace bivistactl {
namespace {

constexpr size_t kMostWords = (1 << 20) / sizeof(uint32_t);

// The beginning of the value, for a message.
std::string shortened(const Json& value) {
    constexpr size_t kLongest = 60;
    if (value.is_array()) return "an array";
    if (value.is_object()) return "an object";
    const std::string text = toLine(value);
    return text.size() <= kLongest ? text : "a long text";
}

[[noreturn]] void refuse(const Json& value, const std::string& what) {
    throw BadArgument(shortened(value) + " is not " + what);
}

template <typename Integer>
bool isInRange(const Json& value) {
    using Limits = std::numeric_limits<Integer>;
    if (!value.is_number_integer()) return false;
    // Above INT64_MAX it is an unsigned one.
    if (value.is_number_unsigned()) {
        return value.get<uint64_t>() <= static_cast<uint64_t>(Limits::max());
    }
    const auto number = value.get<int64_t>();
    return number >= Limits::min() && number <= static_cast<int64_t>(Limits::max());
}

template <typename Integer>
Integer integerFrom(const Json& value) {
    using Limits = std::numeric_limits<Integer>;
    if (isInRange<Integer>(value)) return value.get<Integer>();
    refuse(value, "an integer from " + std::to_string(Limits::min()) + " to " +
                          std::to_string(Limits::max()));
}

}  // namespace

int32_t int32From(const Json& value) {
    return integerFrom<int32_t>(value);
}

uint32_t uint32From(const Json& value) {
    return integerFrom<uint32_t>(value);
}

bool boolFrom(const Json& value) {
    if (!value.is_boolean()) refuse(value, "true or false");
    return value.get<bool>();
}

std::string textFrom(const Json& value) {
    if (!value.is_string()) refuse(value, "a text");
    return value.get<std::string>();
}

std::vector<uint32_t> wordsFrom(const Json& value) {
    if (!value.is_array()) refuse(value, "an array of integers");
    if (value.size() > kMostWords) {
        throw BadArgument("the array holds more than 1 MiB, which no call carries");
    }
    std::vector<uint32_t> words;
    words.reserve(value.size());
    for (const Json& word : value) words.push_back(uint32From(word));
    return words;
}

void requireNull(const Json& value) {
    if (!value.is_null()) refuse(value, "null, the only callback that can be given here");
}

}  // namespace bivistactl
