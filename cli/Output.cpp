#include "cli/Output.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <mutex>
#include <string>

namespace cli {

OutputFailed::OutputFailed(int error)
    : std::runtime_error(std::string("cannot write to standard output: ") + strerror(error)) {}

bool print(std::string_view text) {
    // Guards standard output, so that lines of several threads do not mix.
    static std::mutex lock;
    std::lock_guard hold(lock);
    return fwrite(text.data(), 1, text.size(), stdout) == text.size() && fflush(stdout) == 0;
}

void printOrFail(std::string_view text) {
    if (!print(text)) throw OutputFailed(errno);
}

}  // namespace cli
