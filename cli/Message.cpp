// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "cli/Message.h"

#include <stdio.h>
#include <unistd.h>

#include <string>

#include "cli/Colour.h"

namespace cli {
namespace {

// One write, so that lines of several threads do not mix.
void printLine(const std::string& name, std::string_view message) {
    const std::string line = name + " " + std::string(message) + "\n";
    fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace

void remark(std::string_view program, std::string_view message) {
    printLine(std::string(program) + ":", message);
}

void complain(std::string_view program, std::string_view message) {
    printLine(inColour(Colour::BAD, std::string(program) + ":", STDERR_FILENO), message);
}

}  // namespace cli
