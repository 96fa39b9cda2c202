// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The known word that a person meant by an unknown one.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace cli {

// ": did you mean NAME?" with the name that the word is nearest to, in either case of its letters;
// nothing when it is near none of them. A word is near that begins a name, or has one slip or two.
std::string suggest(std::string_view word, const std::vector<std::string>& names);

}  // namespace cli
