// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/picture/Picture.h"

namespace picture {

// The picture in another size, each pixel the mean of the area that it covers: sharp when enlarged,
// without gaps when reduced, unchanged in its own size. Neither size may be empty.
Picture stretch(const Picture& picture, Size size);

// As stretch(), with its proportions kept: centred, and black where it does not reach.
Picture fit(const Picture& picture, Size size);

}  // namespace picture
