// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What is wrong with an argument, a state or the machine. The text says what to do about it.
#pragma once

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace phone {

class Error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Throws Error: `what`, a colon and strerror(errno).
[[noreturn]] inline void throwErrno(const std::string& what) {
    throw Error(what + ": " + strerror(errno));
}

}  // namespace phone
