// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Texts of items: printable ASCII in one line, of bounded length.
#pragma once

#include <string>
#include <string_view>

namespace timeline {

// As cover::escape(), but quotes stand as they are, and at most kLongestText characters and "...".
std::string spell(std::string_view bytes);
// The same for a text that spells its bytes already, such as JSON: a backslash too stands as it is.
std::string spellText(std::string_view text);

// Appends one more of several parts, " | " between them; a text that has its length remains.
void append(std::string& text, std::string_view part);

}  // namespace timeline
