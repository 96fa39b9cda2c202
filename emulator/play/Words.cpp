// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/Words.h"

namespace play {

std::optional<std::vector<std::string>> split(const std::string& text) {
    std::vector<std::string> words;
    bool isInWord = false;
    char quote = 0;
    for (const char sign : text) {
        const bool isBlank = sign == ' ' || sign == '\t' || sign == '\n';
        if (quote == 0 && isBlank) {
            isInWord = false;
            continue;
        }
        if (!isInWord) words.emplace_back();
        isInWord = true;
        if (quote == 0 && (sign == '\'' || sign == '"')) {
            quote = sign;
        } else if (quote != 0 && sign == quote) {
            quote = 0;
        } else {
            words.back() += sign;
        }
    }
    if (quote != 0) return std::nullopt;
    return words;
}

}  // namespace play
