// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Other programs, run for what they print.
#pragma once

#include <stddef.h>

#include <chrono>
#include <string>
#include <vector>

namespace report {

struct Printed {
    // The end of its standard output.
    std::string text;
    // Why there is none, in the words of the program's last line on standard error; empty when the
    // program ended with 0.
    std::string fault;
};

// Runs a program that is looked up in the PATH, without input. It is killed after `patience`; of
// what it prints, the last `most` bytes are kept.
Printed runProgram(const std::vector<std::string>& command, size_t most,
                   std::chrono::milliseconds patience);

// The end of a text that began somewhere, from a line's beginning on.
std::string lastLines(std::string text, size_t most);

}  // namespace report
