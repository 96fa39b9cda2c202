// bivista-emulator run: a program on an emulated phone.
#pragma once

#include <string>
#include <vector>

namespace emulator {

struct RunOptions {
    bool withCover = true;
    int tty = 0;
    bool withHid = true;
    std::string firmwareVersion;          // empty: the cover's own
    std::vector<std::string> properties;  // "key=value"
    std::vector<std::string> faults;
    std::string journal;  // file; empty: none
    std::vector<std::string> program;
};

// Exit status of a run whose phone could not be made.
inline constexpr int kPhoneFailed = 125;
// Exit status when the program could not be started.
inline constexpr int kProgramFailed = 127;

// Runs until the program ends; returns its exit status (128 + signal when one ended it). Errors are
// told on standard error.
int run(const RunOptions& options);

}  // namespace emulator
