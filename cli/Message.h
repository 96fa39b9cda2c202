// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a program says on standard error.
#pragma once

#include <string_view>

namespace cli {

// Writes one line after the program's name. Any thread.
void remark(std::string_view program, std::string_view message);

// The same for what went wrong.
void complain(std::string_view program, std::string_view message);

}  // namespace cli
