// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Scenarios with one expectation broken on purpose, and what a tester is to read then.
#pragma once

#include <string>
#include <vector>

namespace scenarios {

struct Broken {
    std::string name;         // of the scenario's file, without .yaml
    std::string text;         // stands there once
    std::string replacement;  // what is expected instead, and does not come
    std::string expected;     // parts of what the failure says
    std::string came;
    std::string around;  // in a line of the timeline
};

// At least one of each scenario.
std::vector<Broken> brokenScenarios();

}  // namespace scenarios
