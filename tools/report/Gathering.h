// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a report is made of: each source adds members, or says why it cannot.
#pragma once

#include <stddef.h>
#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

#include "tools/doctor/Examination.h"
#include "tools/report/Archive.h"
#include "tools/report/Manifest.h"

namespace report {

// Of a log, the last part.
inline constexpr size_t kMostLog = 2 << 20;

struct Gathering {
    std::vector<Member> members = {};
    std::vector<Missing> missing = {};

    void add(const char* name, const std::string& bytes);
    void miss(const char* name, const std::string& why, const std::string& detail = {});
};

// The service's dump and history; each may take as long as `patience`. Waits no more for a service
// that let the first time pass.
void gatherService(std::chrono::milliseconds patience, Gathering* gathering);

// The service's properties and log. `service` is its process, 0 for none.
void gatherSettings(pid_t service, Gathering* gathering);
void gatherServiceLog(pid_t service, Gathering* gathering);

// The state and the journal of the phone that the service runs on, and that phone's kernel log; of
// another machine its own kernel messages.
void gatherPhone(pid_t service, Gathering* gathering);

// The whole report, compressed. A redacted one has no text that may be personal.
struct Made {
    std::string archive;
    Manifest manifest;
    std::vector<std::string> members;
};
Made makeReport(const doctor::Examination& examination, bool redact);

}  // namespace report
