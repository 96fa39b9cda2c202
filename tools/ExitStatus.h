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
    // Or any other failure of this program itself.
    EXIT_NO_OUTPUT = 4,
};

// Ends the command; `what()` is for people and says what to do.
class Failure : public std::runtime_error {
  public:
    Failure(ExitCode code, const std::string& message) : std::runtime_error(message), code(code) {}

    const ExitCode code;
};

// Runs the action, reports on standard error what it throws, and returns how the program ends: as
// the action returns, with the code of a Failure, else with EXIT_NO_OUTPUT.
int runToExitStatus(const std::function<int()>& action);

// For std::set_terminate(): ends the program in the same way for what a thread throws, such as the
// HIDL transport's when it can start no other.
[[noreturn]] void endOnUncaughtException();

}  // namespace bivistactl
