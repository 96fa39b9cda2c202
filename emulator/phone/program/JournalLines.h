// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The journal as people read it, a line an item.
#pragma once

#include <string>

#include "emulator/phone/program/JournalPages.h"
#include "emulator/timeline/Filter.h"

namespace emulator {

// Prints the items that are there, sorted by their begin; with `follow` then each as it ends, until
// the emulator does. Those that are open at the end are printed then.
void printLines(JournalPages& pages, const timeline::Filter& filter, bool follow);

// Time of day with milliseconds, lane, title, detail, milliseconds, verdict; "!" after the verdict
// of what a fault struck. Exactly as many columns as `width`, or fewer; 0: as many as it takes.
std::string lineOf(const timeline::Item& item, size_t width);

}  // namespace emulator
