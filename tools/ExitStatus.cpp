// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/ExitStatus.h"

#include <stdlib.h>
#include <unistd.h>

#include <exception>
#include <new>

#include "tools/text/Output.h"

namespace bivistactl {

int runToExitStatus(const std::function<int()>& action) {
    constexpr char kNoMemory[] =
            "bivistactl: this program failed, not the service: it ran out of memory. \"bivistactl "
            "status\" tells what was done until then.\n";
    try {
        try {
            return action();
        } catch (const Failure& failure) {
            complain(failure.what());
            return failure.code;
        } catch (const cli::OutputFailed& failure) {
            complain(failure.what());
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception& error) {
            complain(std::string("this program failed, not the service: ") + error.what() +
                     ". \"bivistactl status\" tells what was done until then.");
        }
    } catch (const std::bad_alloc&) {
        // Without memory to report another failure, this text is printed too.
        [[maybe_unused]] const ssize_t written =
                write(STDERR_FILENO, kNoMemory, sizeof(kNoMemory) - 1);
    }
    return EXIT_NO_OUTPUT;
}

void endOnUncaughtException() {
    const std::exception_ptr uncaught = std::current_exception();
    if (uncaught == nullptr) abort();
    _exit(runToExitStatus([&]() -> int { std::rethrow_exception(uncaught); }));
}

}  // namespace bivistactl
