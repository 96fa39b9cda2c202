// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the languages of faults have in common: words, quoted texts and durations.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "emulator/cover/Types.h"

namespace cover {

struct Word {
    std::string text;  // of a quoted one: what it spells
    bool quoted = false;

    // For messages.
    std::string shown() const;
};

// The words of a line, which blanks separate. On an error: none, and what is wrong.
std::optional<std::vector<Word>> cutWords(std::string_view line, std::string& error);

// An integer and us, ms or s; at most one day.
std::optional<Time> parseDuration(std::string_view text);
std::string printDuration(Time time);

}  // namespace cover
