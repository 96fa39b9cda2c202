// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A report's file: a compressed tar of a few texts. It is made and read in memory, and nothing of
// it ever becomes a file of its own.
#pragma once

#include <stddef.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace report {

struct Member {
    // Small letters, digits, dots and dashes, as in "service.log".
    std::string name;
    std::string bytes;
};

// What a reader takes. A report that "bivistactl report" makes stays far below.
inline constexpr size_t kMostArchive = 16 << 20;
inline constexpr size_t kMostMember = 16 << 20;
inline constexpr size_t kMostBytes = 48 << 20;
inline constexpr size_t kMostMembers = 64;

// The bytes are no report that this program can read. `what()` is for people, and names no file.
class BadReport : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Throws std::runtime_error when the library fails.
std::string pack(const std::vector<Member>& members);

// The members of an archive from anywhere, in their order. A folder is left out. Throws BadReport
// for anything that pack() does not make or that is above the limits.
std::vector<Member> unpack(std::string_view archive);

}  // namespace report
