#pragma once

#include <stdexcept>
#include <string>

namespace bivistactl {

// How the program ends. Each number means one thing.
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

}  // namespace bivistactl
