// Pictures of the sub display as PNG files.
#pragma once

#include <string>

#include "emulator/cover/Panel.h"

namespace emulator {

// A picture as the bytes of a PNG of 8-bit grey: level n is 17 n. Throws std::runtime_error for one
// without pixels.
std::string encodePng(const cover::Picture& picture);

}  // namespace emulator
