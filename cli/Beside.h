// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Programs that were built or installed with this one.
#pragma once

#include <string>
#include <vector>

namespace cli {

// The path of the program in the first of these folders that has it; they are named from the folder
// of this program. Empty when none of them has it.
std::string findBeside(const std::string& name, const std::vector<std::string>& folders = {"."});

}  // namespace cli
