// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A report that came from elsewhere. Any program may have made it.
#pragma once

#include <string_view>

#include "tools/doctor/Checks.h"
#include "tools/report/Archive.h"
#include "tools/report/Manifest.h"

namespace report {

struct Report {
    Manifest manifest;
    // What the doctor found where the report was made.
    doctor::Findings found;
    doctor::Account account;
};

// Throws BadReport.
Report readReport(std::string_view archive);

// What the report is, what it has not, what the doctor found there, and what its dump, history and
// log show.
doctor::Findings explain(const Report& report);

}  // namespace report
