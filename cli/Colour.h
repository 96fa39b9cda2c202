// Colours of what a program prints for people.
#pragma once

#include <string>
#include <string_view>

namespace cli {

enum class Colour { PLAIN, NAME, GOOD, BAD, FAINT };

// "never", "auto" or "always"; the last call counts. At the start: auto. To be called before other
// threads print.
void setColour(std::string_view when);

// Whether what is written to this descriptor has colours. With auto: a terminal that knows them,
// unless NO_COLOR is in the environment and not empty.
bool hasColour(int descriptor);

// The text as it is to be written to the descriptor, in this colour if that one has colours. A line
// feed at its end stays last.
std::string inColour(Colour colour, std::string_view text, int descriptor);

}  // namespace cli
