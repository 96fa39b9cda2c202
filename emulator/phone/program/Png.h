// Pictures of the sub display as PNG files.
#pragma once

#include <string>

#include "emulator/cover/Panel.h"

namespace emulator {

// Writes a picture as a PNG of 8-bit grey: level n is 17 n. Empty on success, else what is wrong.
std::string writePng(const std::string& path, const cover::Picture& picture);

}  // namespace emulator
