// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/doctor/ShellWord.h"

#include <algorithm>
#include <cstdio>

#include "tools/text/Text.h"

namespace doctor {
namespace {

constexpr std::string_view kPlain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789@%+=:,./_-";

// For a name that any terminal may show. Where quotes do, they work in dash too, which has no
// $'...'.
std::string inQuotes(std::string_view name) {
    std::string text = "'";
    for (const char character : name) {
        text += character == '\'' ? "'\\''" : std::string(1, character);
    }
    return text + "'";
}

std::string inEscapes(std::string_view name) {
    std::string text = "$'";
    for (const char character : name) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte >= 0x20 && byte < 0x7f && character != '\'' && character != '\\') {
            text += character;
            continue;
        }
        char octal[sizeof("\\377")];
        snprintf(octal, sizeof(octal), "\\%03o", byte);
        text += octal;
    }
    return text + "'";
}

}  // namespace

std::string shellWord(std::string_view name) {
    const bool isPlain = !name.empty() && name.find_first_not_of(kPlain) == std::string_view::npos;
    if (isPlain) return std::string(name);
    // A line feed alone is left as it is when controls are spelled.
    const bool isPrintable = name != "\n" && bivistactl::spellControls(name) == name;
    return isPrintable ? inQuotes(name) : inEscapes(name);
}

std::string firstOf(const std::vector<std::string>& list, const std::string& separator) {
    std::string text;
    for (size_t i = 0; i < std::min(list.size(), kMostListed); ++i) {
        text += (i == 0 ? "" : separator) + list[i];
    }
    return text;
}

std::string listed(const std::vector<std::string>& list, const std::string& separator) {
    const std::string more =
            list.size() <= kMostListed
                    ? ""
                    : " and " + std::to_string(list.size() - kMostListed) + " more";
    return firstOf(list, separator) + more;
}

std::string restOf(const std::vector<std::string>& list) {
    if (list.size() <= kMostListed) return "";
    return " # the first " + std::to_string(kMostListed) + " of " + std::to_string(list.size()) +
           "; then see the doctor again";
}

}  // namespace doctor
