// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// How the doctor's advice writes names that other programs chose.
#pragma once

#include <stddef.h>

#include <string>
#include <string_view>
#include <vector>

namespace doctor {

// The name as one word of a shell's command line, without control characters: 'a b', $'a\012b'.
std::string shellWord(std::string_view name);

// At most so many entries of a list are written.
inline constexpr size_t kMostListed = 5;

// The first entries with a separator between them.
std::string firstOf(const std::vector<std::string>& list, const std::string& separator);

// The same, and how many more there are: "a, b, c, d, e and 17 more".
std::string listed(const std::vector<std::string>& list, const std::string& separator = ", ");

// The comment after a command line that has only the first entries; empty when these are all.
std::string restOf(const std::vector<std::string>& list);

}  // namespace doctor
