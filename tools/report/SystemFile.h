// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>

#include <string>

namespace report {

struct FileEnd {
    // The last lines.
    std::string text;
    // Why there are none; empty when the file was read.
    std::string fault;
};

// The end of a file, of `most` bytes at most. Never waits: what is no plain file is at fault.
FileEnd readEnd(const std::string& path, size_t most);

}  // namespace report
