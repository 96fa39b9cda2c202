// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/text/Output.h"

#include <errno.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "cli/Message.h"
#include "tools/text/Text.h"

namespace bivistactl {

bool printCoverLine(std::string_view line) {
    static const bool forPeople = isatty(STDOUT_FILENO) != 0;
    return print(forPeople ? spellControls(line) : std::string(line));
}

void printCoverText(std::string_view text) {
    while (!text.empty()) {
        const size_t length = std::min(text.find('\n'), text.size() - 1) + 1;
        if (!printCoverLine(text.substr(0, length))) throw cli::OutputFailed(errno);
        text.remove_prefix(length);
    }
    printOrFail("\n");
}

void complain(std::string_view message) {
    cli::complain("bivistactl", message);
}

void remark(std::string_view message) {
    cli::remark("bivistactl", message);
}

}  // namespace bivistactl
