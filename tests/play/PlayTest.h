// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// "bivista-emulator play" as a tester meets it, with the real programs.
#pragma once

#include <string>
#include <vector>

#include "tests/e2e/Programs.h"

namespace play_test {

using e2e::bin;
using e2e::Outcome;
using e2e::Process;

class PlayTest : public e2e::ProgramsTest {
  protected:
    PlayTest();

    // A scenario of these steps, each with its "- "; its path. With `start`, a line or several.
    std::string write(const std::string& steps, const std::string& name = "s",
                      const std::string& start = "") const;
    // bivista-emulator play, and the rest of the arguments.
    static std::vector<std::string> command(std::vector<std::string> arguments);
    Outcome play(const std::vector<std::string>& arguments) const;
    // Plays these steps, which must fail with this exit status, and nothing on standard error.
    // Returns what is said about it, without what comes after "around:".
    std::string failure(const std::string& steps, const std::string& start = "",
                        int status = 1) const;
    // The failure of an outcome, likewise.
    static std::string failureIn(const std::string& out);

    // Processes that know this test's folder, but for this one; the oldest first.
    std::vector<pid_t> processes() const;
    // The first of them whose command line begins with this text; waits for it.
    pid_t awaitProcess(const std::string& text) const;
    // Whether a temporary folder of a scenario is there.
    bool hasTemporary() const;

    const std::string temporary;
};

}  // namespace play_test
