// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "cli/Colour.h"

#include <stdlib.h>
#include <unistd.h>

namespace cli {
namespace {

enum class When { NEVER, AUTO, ALWAYS };

When gWhen = When::AUTO;

const char* codeOf(Colour colour) {
    switch (colour) {
        case Colour::NAME:
            return "\033[1m";
        case Colour::GOOD:
            return "\033[32m";
        case Colour::BAD:
            return "\033[1;31m";
    }
    return "";
}

bool isSet(const char* variable) {
    const char* value = getenv(variable);
    return value != nullptr && *value != '\0';
}

bool isDumb() {
    const char* terminal = getenv("TERM");
    return terminal == nullptr || std::string_view(terminal) == "dumb";
}

bool hasColour(int descriptor) {
    if (gWhen != When::AUTO) return gWhen == When::ALWAYS;
    return isatty(descriptor) != 0 && !isSet("NO_COLOR") && !isDumb();
}

}  // namespace

void setColour(std::string_view when) {
    gWhen = when == "always" ? When::ALWAYS : when == "never" ? When::NEVER : When::AUTO;
}

std::string inColour(Colour colour, std::string_view text, int descriptor) {
    if (!hasColour(descriptor)) return std::string(text);
    return codeOf(colour) + std::string(text) + "\033[0m";
}

}  // namespace cli
