// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Programs of this project that a scenario runs to their end.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "emulator/play/Stage.h"

namespace play {

struct Outcome {
    int status = 0;  // exit status, or 128 + the signal that ended it
    // The beginnings, if they are long.
    std::string out;
    std::string err;
};

// Runs "bivistactl" or "bivista-emulator", those of this build, in this folder; empty: that of this
// process. Nothing when it was still running after `limit`: then it was killed. Throws as
// Stage::pull(), and Gone when it writes without end.
std::optional<Outcome> runProgram(Stage& stage, std::vector<std::string> words, Milliseconds limit,
                                  const std::string& folder = "");

// For people: the beginning of a long text, without the last line end.
std::string forPeople(std::string text);

// bivistactl wait: status 0 when the condition holds, else standard error tells why not.
Outcome waitForService(Stage& stage, const std::string& condition, Milliseconds limit);

}  // namespace play
