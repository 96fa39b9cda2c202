// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What came instead of what was expected, in the words of scenarios.
#pragma once

#include <string>

#include "emulator/play/Scenario.h"
#include "emulator/play/Streams.h"

namespace play {

bool takes(const EntryPattern& pattern, const phone::Entry& entry);
bool takes(const LogPattern& pattern, const LogLine& line);

// "at: AT%SWV"; "node: {bv2_pd: 1 0}"; "journal: {kind: hid-write, ...}". Long texts are cut.
std::string inWords(const phone::Entry& entry);
// "log: {D: serialAtCmd: rd: [OK]}".
std::string inWords(const LogLine& line);

// One line for each of the elements from `from` on that are the most like the pattern, in their
// order; where there are more, after a line that says so. "no node-write", "no log lines".
std::string tellNearest(const EntryPattern& pattern, const Stream<phone::Entry>& entries,
                        size_t from);
std::string tellNearest(const LogPattern& pattern, const Stream<LogLine>& lines, size_t from);

}  // namespace play
