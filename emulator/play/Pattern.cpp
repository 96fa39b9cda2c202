// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/Pattern.h"

#include <map>

namespace play {

namespace {

// The second: without it a match takes a depth of calls, and may take a time, that grow with the
// text.
constexpr auto kSyntax = std::regex::ECMAScript | std::regex_constants::__polynomial;

// A repetition or back reference whose number the library would count beyond its range.
bool hasLongNumber(const std::string& expression) {
    static const std::regex longNumber(R"((\\|\{[0-9]*,?)[0-9]{5})", kSyntax);
    return std::regex_search(expression, longNumber);
}

}  // namespace

std::regex compile(const std::string& expression) {
    if (hasLongNumber(expression)) throw std::regex_error(std::regex_constants::error_badbrace);
    return std::regex(expression, kSyntax);
}

bool Pattern::takes(const std::string& given) const {
    if (how == How::Is) return given == text;
    if (how == How::Contains) return given.find(text) != std::string::npos;
    if (how == How::Ends) return given.ends_with(text);
    // A pattern is tried again and again.
    thread_local std::map<std::string, std::regex> known;
    auto found = known.find(text);
    if (found == known.end()) found = known.emplace(text, compile(text)).first;
    return std::regex_match(given, found->second);
}

}  // namespace play
