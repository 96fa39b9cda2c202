// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// All that the doctor examines on a machine, and how it prints what it found.
#pragma once

#include <chrono>
#include <string>

#include "tools/doctor/Checks.h"

namespace doctor {

struct Examination {
    // Also ask the cover, which resets a silent one.
    bool ask = false;
    // Where the examined machine's files are.
    std::string root;
    // Whose rights count.
    User user;
    // The service waits a shorter time for a cover that is silent.
    std::chrono::milliseconds patience = std::chrono::milliseconds(6000);
};

// The service of this program's registry folder, and its machine. Threads may wait for the service
// after that: see within().
Findings examine(const Examination& examination);

bool hasProblem(const Findings& findings);

// A line for each finding, with its remedy and the lines that show it below.
std::string inWords(const Findings& findings);
// {"ok":B,"findings":[...]}, on one line.
std::string inJson(const Findings& findings);
// The findings of such a text, which any program may have written.
Findings readFindings(std::string_view json);

}  // namespace doctor
