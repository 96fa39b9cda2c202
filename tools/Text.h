#pragma once

#include <stddef.h>

#include <string>
#include <string_view>

namespace bivistactl {

// The length of the valid UTF-8 sequence that `bytes` begin with; 0 when they begin with none.
size_t utf8Length(std::string_view bytes);

// The text for a person's terminal: control characters and bytes that are not UTF-8 are spelled, as
// in "<CR>", "<ESC>", "<0x80>", so that a cover's answer cannot steer the terminal. A line feed is
// kept at the end and spelled elsewhere.
std::string spellControls(std::string_view bytes);

}  // namespace bivistactl
