// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/doctor/Examination.h"

namespace doctor {
namespace {

// The service's root folder, which on an emulated phone differs from this program's.
std::string worldOf(pid_t service) {
    const std::string root = "/proc/" + std::to_string(service) + "/root";
    return service != 0 && Tree(root).exists() ? root : "/";
}

}  // namespace

Findings examine(const Examination& examination) {
    const Tree machine(examination.root.empty() ? "/" : examination.root);
    const std::chrono::milliseconds patience = examination.patience;
    pid_t service = 0;
    Findings findings = {examineService(machine, patience, &service)};
    const bool isServed = findings.front().weight == Weight::FINE;
    findings.push_back(examineRegistry());
    if (isServed) {
        findings.push_back(examineAnswer(examination.ask, machine, service, patience));
        // Asked before the dump, which then counts a time-out of this command too.
        append(&findings, examineDump(patience));
    }
    const Tree world(examination.root.empty() ? worldOf(service) : examination.root);
    append(&findings, examineCover({machine, world, examination.user, service}));
    findings.push_back(examineModemDaemon(machine));
    return findings;
}

}  // namespace doctor
