// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Each scenario is played by a process of its own, which can be given up with all that it started.
#pragma once

#include <exception>
#include <string>

#include "emulator/play/Report.h"
#include "emulator/play/Scenario.h"

namespace play {

struct Options {
    bool running = false;
    std::string log;   // of the running service; empty: none
    std::string keep;  // a folder for journal, log and picture; empty: none
};

// A signal is to end this program.
class Interrupted : public std::exception {
  public:
    explicit Interrupted(int number) : number(number) {}
    const int number;
};

// What of a scenario is kept is named so, with ".jsonl", ".log" or ".png".
std::string keptName(const Scenario& scenario, const Options& options);

// Plays the scenario to its end. Afterwards, and when it throws, nothing of it runs any more, and
// its temporary folder is gone. When this process is killed, nothing of it runs on. To be called
// by a process that has one thread and no other child. Throws Interrupted, and phone::Error when
// processes, folder or kept files cannot be made.
Result playApart(const Scenario& scenario, const Options& options);

}  // namespace play
