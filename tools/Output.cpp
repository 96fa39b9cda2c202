#include "tools/Output.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <mutex>
#include <string>

#include "tools/Failure.h"

namespace bivistactl {

bool print(std::string_view text) {
    // Guards standard output, so that lines of several threads do not mix.
    static std::mutex lock;
    std::lock_guard hold(lock);
    return fwrite(text.data(), 1, text.size(), stdout) == text.size() && fflush(stdout) == 0;
}

void printOrFail(std::string_view text) {
    if (print(text)) return;
    throw Failure(EXIT_NO_OUTPUT,
                  std::string("cannot write to standard output: ") + strerror(errno));
}

void complain(std::string_view message) {
    const std::string line = "bivistactl: " + std::string(message) + "\n";
    fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace bivistactl
