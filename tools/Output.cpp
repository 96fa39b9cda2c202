#include "tools/Output.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <mutex>
#include <string>

#include "cli/Message.h"
#include "tools/Failure.h"
#include "tools/Text.h"

namespace bivistactl {
namespace {

void requireWritten(bool written) {
    if (written) return;
    throw Failure(EXIT_NO_OUTPUT,
                  std::string("cannot write to standard output: ") + strerror(errno));
}

}  // namespace

bool print(std::string_view text) {
    // Guards standard output, so that lines of several threads do not mix.
    static std::mutex lock;
    std::lock_guard hold(lock);
    return fwrite(text.data(), 1, text.size(), stdout) == text.size() && fflush(stdout) == 0;
}

void printOrFail(std::string_view text) {
    requireWritten(print(text));
}

bool printCoverLine(std::string_view line) {
    static const bool forPeople = isatty(STDOUT_FILENO) != 0;
    return print(forPeople ? spellControls(line) : std::string(line));
}

void printCoverText(std::string_view text) {
    while (!text.empty()) {
        const size_t length = std::min(text.find('\n'), text.size() - 1) + 1;
        requireWritten(printCoverLine(text.substr(0, length)));
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
