// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "cli/Output.h"

namespace bivistactl {

using cli::print;
using cli::printOrFail;

// As print(), for a line that the cover sent: on a terminal, control characters are spelled.
bool printCoverLine(std::string_view line);

// The same for lines with line feeds between them, and one more at the end. Throws as
// printOrFail().
void printCoverText(std::string_view text);

// Write one line to standard error, after the program's name: a failure, or a note for people.
void complain(std::string_view message);
void remark(std::string_view message);

}  // namespace bivistactl
