// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The journal as people read it, a line an item.
#pragma once

#include "emulator/phone/program/JournalPages.h"
#include "emulator/timeline/Filter.h"

namespace emulator {

// Prints the items that are there, sorted by their begin; with `follow` then each as it ends, until
// the emulator does. Those that are open at the end are printed then.
void printLines(JournalPages& pages, const timeline::Filter& filter, bool follow);

}  // namespace emulator
