// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Scenarios with one expectation broken on purpose, and what a tester is to read then.
#pragma once

#include <ostream>
#include <span>

namespace scenarios {

struct Broken {
    const char* name;         // of the scenario's file, without .yaml
    const char* text;         // stands there once
    const char* replacement;  // what is expected instead, and does not come
    const char* expected;     // parts of what the failure says
    const char* came;
    const char* around;  // in a line of the timeline

    friend std::ostream& operator<<(std::ostream& out, const Broken& broken) {
        return out << broken.name;
    }
};

// At least one of each scenario.
std::span<const Broken> brokenScenarios();

}  // namespace scenarios
