#pragma once

#include <string>

#include "tools/text/Json.h"

namespace bivistactl {

// For FAIL to getSubDisplayInfo().
inline constexpr char kNoPanel[] =
        "there is no panel. See \"bivistactl status\", and attach the cover.";

// What toJson() makes of the sub display's state and geometry, in words for people.
// "ON", or "state 9" for a number without a name.
std::string stateInWords(const Json& state);
// "128 x 64, format 1".
std::string panelInWords(const Json& info);

}  // namespace bivistactl
