// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Files that a program writes.
#pragma once

#include <string>
#include <string_view>

namespace cli {

// Gives a file these bytes as its whole content. Returns what is wrong, without the path, or
// nothing. Never removes a file that was there, whatever fails.
// - A regular file, or one that does not exist, has its new content whole or not at all: it is made
//   beside the old one and renamed. Links to it, its mode, and as far as allowed its owner stay.
// - Anything else, such as a device or a FIFO, is written into. The write to a FIFO waits for a
//   reader.
std::string writeFile(const std::string& path, std::string_view bytes);

}  // namespace cli
