// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace bivistactl {

// The parameter does not take the text. `what()` begins with the text in question.
class BadArgument : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Numbers are decimal or, after 0x, hexadecimal, with a minus sign in front when negative, and
// nothing else. All throw BadArgument.
int32_t parseInt32(const std::string& text);
uint32_t parseUint32(const std::string& text);
// A brightness, 0 to 255.
int32_t parseLevel(const std::string& text);
// "true" or "false".
bool parseBool(const std::string& text);
// "on" or "off".
bool parseSwitch(const std::string& text);
// "@FILE": the 32-bit little-endian words of a file, or numbers with commas between; empty for
// none. At most 1 MiB, as much as a call carries.
std::vector<uint32_t> parseWords(const std::string& text);
// "null".
void parseNull(const std::string& text);

// The bytes of a file that an argument names; of a longer one, `limit` + 1 of them. Throws
// BadArgument when it cannot be read.
std::string readFile(const std::string& path, size_t limit);

}  // namespace bivistactl
