// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "cli/Suggestion.h"

#include <algorithm>
#include <cctype>

namespace cli {
namespace {

std::string inLowerCase(std::string_view text) {
    std::string lower(text);
    for (char& letter : lower) letter = static_cast<char>(tolower(static_cast<uint8_t>(letter)));
    return lower;
}

// How many letters must be changed, added, taken away or exchanged with the next one.
size_t countSlips(const std::string& from, const std::string& to) {
    std::vector<size_t> before;
    std::vector<size_t> last(to.size() + 1);
    for (size_t j = 0; j <= to.size(); ++j) last[j] = j;
    for (size_t i = 1; i <= from.size(); ++i) {
        std::vector<size_t> row(to.size() + 1, i);
        for (size_t j = 1; j <= to.size(); ++j) {
            const size_t change = from[i - 1] == to[j - 1] ? 0 : 1;
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + change});
            const bool areExchanged =
                    i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
            if (areExchanged) row[j] = std::min(row[j], before[j - 2] + 1);
        }
        before = std::move(last);
        last = std::move(row);
    }
    return last.back();
}

// In a short word a second slip leaves nothing to go by.
size_t slipsOf(size_t length) {
    return length < 4 ? 1 : 2;
}

// 0 for a name that the word begins.
size_t distance(const std::string& word, const std::string& name) {
    return word.size() > 1 && name.starts_with(word) ? 0 : countSlips(word, name);
}

}  // namespace

std::string suggest(std::string_view word, const std::vector<std::string>& names) {
    const std::string written = inLowerCase(word);
    const std::string* nearest = nullptr;
    size_t least = slipsOf(written.size()) + 1;
    for (const std::string& name : names) {
        // A word may be as long as a file.
        if (written.size() > name.size() + least) continue;
        const size_t slips = distance(written, inLowerCase(name));
        if (slips >= least) continue;
        least = slips;
        nearest = &name;
    }
    return nearest == nullptr ? "" : ": did you mean " + *nearest + "?";
}

}  // namespace cli
