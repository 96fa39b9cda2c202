#pragma once

#include "tools/picture/Picture.h"

namespace picture {

// The panel's 16 levels as bars, black on the left to white on the right, within a white border,
// and a white square in the upper left corner: shows which way is up, and where the edges are.
// Works for any size, though below 18 x 3 not every part shows.
Picture testPattern(Size size);

}  // namespace picture
