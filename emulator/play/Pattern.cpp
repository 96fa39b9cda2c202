// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/Pattern.h"

#include <map>

namespace play {

std::regex compile(const std::string& expression) {
    // Without it a match takes a depth of calls, and may take a time, that grow with the text.
    return std::regex(expression, std::regex::ECMAScript | std::regex_constants::__polynomial);
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
