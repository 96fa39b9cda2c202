// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// An item as people read it, in one line.
#pragma once

#include <string>

#include "emulator/timeline/Item.h"

namespace timeline {

struct Line {
    // Time of day with milliseconds, lane, title, detail, milliseconds, and a gap where a verdict
    // follows.
    std::string text;
    std::string verdict;  // "!" after that of what a fault struck
};

// The text in at most `width` columns, 3 or more; one that is longer ends with "...".
std::string cut(std::string text, size_t width);

// Exactly as many columns as `width`, or fewer; 0: as many as it takes.
Line lineOf(const Item& item, size_t width);

}  // namespace timeline
