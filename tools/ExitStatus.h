// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// How the program ends.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>

namespace bivistactl {

// Each number means one thing.
enum ExitCode {
    EXIT_ANSWERED_OK = 0,
    EXIT_ANSWERED_FAIL = 1,
    EXIT_USAGE = 2,
    EXIT_NO_SERVICE = 3,
    // Standard output cannot be written, or this program itself failed in another way.
    EXIT_NO_OUTPUT = 4,
};

// Ends the command. `what()` is for people, and names the remedy.
class Failure : public std::runtime_error {
  public:
    Failure(ExitCode code, const std::string& message) : std::runtime_error(message), code(code) {}

    const ExitCode code;
};

// Runs the action, reports its exceptions on standard error, and returns the program's exit status:
// the action's result, the code of a Failure, or else EXIT_NO_OUTPUT.
int runToExitStatus(const std::function<int()>& action);

// For std::set_terminate(): ends the program in the same way when a thread throws. A thread of the
// HIDL transport does so when it cannot start another thread.
[[noreturn]] void endOnUncaughtException();

}  // namespace bivistactl
