// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "tools/client/State.h"

namespace bivistactl {

// What is waited for; all at one time.
struct Conditions {
    std::optional<bool> attached;  // else detached
    std::optional<bool> screen;
    std::optional<std::string> sub;  // a name of SubScreenState
    std::optional<std::string> firmware;
};

// What the last look has found.
struct View {
    // Empty when a service answered, else why none did.
    std::string absence = "the service has not answered yet";
    Presence presence = Presence::UNKNOWN;
    std::optional<bool> screen;
    Json sub;
    std::optional<std::string> firmware;
    // Why the dump says nothing; empty when it does.
    std::string fault;
};

struct StateWaited {
    View last;
    bool met = false;
    // The service took a call and did not answer. The thread that asked it goes on, so the program
    // must end by quick_exit().
    bool silent = false;
};

// Looks until all conditions hold, and once at least: at once, then at intervals that grow from 10
// to 200 ms. A service that is not there, or dies, is looked for again. The cover is asked for its
// firmware only when all else holds and a cover is attached: once, then after 1, 2, 4, 8, 8, ... s.
// A call of the service may last as long as `patience` after the end.
StateWaited waitForState(const Conditions& conditions, std::chrono::milliseconds timeout,
                         std::chrono::milliseconds patience);

}  // namespace bivistactl
