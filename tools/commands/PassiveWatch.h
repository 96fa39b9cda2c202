// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl watch --passive: follows the service's own history, and takes no callback from
// anybody.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/Command.h"

namespace bivistactl {

struct PassiveWatch {
    bool isAsked = false;
    // Milliseconds between two looks.
    int interval = 500;
    // Also events that there are already, with a greater number.
    std::optional<std::string> since;
};

// Adds --passive and what goes with it.
void addPassiveOptions(cli::Command& watch, const std::shared_ptr<PassiveWatch>& options);

// Prints events of these kinds, of all without any, until ended by a signal. Never returns: a
// thread may wait for the service.
[[noreturn]] int follow(const PassiveWatch& options, const std::vector<std::string>& kinds);

}  // namespace bivistactl
