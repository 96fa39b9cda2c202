#pragma once

#include <stddef.h>

#include <string>

namespace bivistactl {

// The file's bytes; of a file that is longer, `limit` + 1 of them. Throws BadArgument when it
// cannot be read.
std::string readFile(const std::string& path, size_t limit);

}  // namespace bivistactl
