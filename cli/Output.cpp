// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "cli/Output.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <string>

namespace cli {

OutputFailed::OutputFailed(int error)
    : std::runtime_error(std::string("cannot write to standard output: ") + strerror(error)) {}

bool print(std::string_view text) {
    // The thread that wrote a text gets the error of its flush.
    flockfile(stdout);
    const bool done =
            fwrite(text.data(), 1, text.size(), stdout) == text.size() && fflush(stdout) == 0;
    funlockfile(stdout);
    return done;
}

void printOrFail(std::string_view text) {
    if (!print(text)) throw OutputFailed(errno);
}

}  // namespace cli
