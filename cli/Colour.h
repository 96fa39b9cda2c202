// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Colours of what a program prints for people.
#pragma once

#include <string>
#include <string_view>

namespace cli {

enum class Colour { NAME, GOOD, BAD };

// "never", "auto" or "always"; the last call counts. At the start: auto. To be called before other
// threads print.
void setColour(std::string_view when);

// The text as it is to be written to the descriptor, in this colour if the descriptor has colours.
// With auto a terminal that knows colours has them, unless NO_COLOR is in the environment and not
// empty.
std::string inColour(Colour colour, std::string_view text, int descriptor);

}  // namespace cli
