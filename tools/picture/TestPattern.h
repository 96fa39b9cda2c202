// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/picture/Picture.h"

namespace picture {

// The panel's 16 levels as bars within a white border, black on the left to white on the right. A
// white square in the upper left corner shows which way is up, and the border where the edges are.
// Works for any size, though below 18 x 3 not every part shows.
Picture testPattern(Size size);

}  // namespace picture
