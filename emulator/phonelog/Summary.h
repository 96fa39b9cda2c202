// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What an import found, inferred and could not tell, for people.
#pragma once

#include <string>

#include "emulator/phonelog/Import.h"

namespace phonelog {

// Several lines, each with a line end.
std::string summarise(const ServiceLog& log, const Findings& findings);

}  // namespace phonelog
