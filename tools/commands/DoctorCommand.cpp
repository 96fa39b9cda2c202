// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl doctor: finds what keeps the cover from working, and names the remedy.

#include <stdlib.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "cli/Colour.h"
#include "tools/ExitStatus.h"
#include "tools/commands/Command.h"
#include "tools/doctor/Checks.h"
#include "tools/text/Text.h"

namespace bivistactl {
namespace {

using ::doctor::Finding;
using ::doctor::Findings;
using ::doctor::Tree;
using ::doctor::User;
using ::doctor::Weight;

constexpr char kHelp[] = R"(
Examines the service, the folder where it registers, its counts and state (its debug
dump), the cover's USB device and nodes, the other programs that have these open, and
whether a modem daemon may open them. Prints a line for each, with the remedy below it.
Changes nothing. Where the service runs on an emulated phone, that phone's devices are
examined.

Of what was counted, commands that the cover did not answer in time, resets of the cover
and drawings that the panel refused are a problem, until "bivistactl dump --reset" forgets
them. Commands that were refused or failed otherwise, votes that were not withdrawn,
drawings that were dropped and a brightness offset are a note: a healthy cover has them
too. A modem daemon that no udev rule keeps off the cover is a note as well.

Asks nothing of the cover but for --ask, which sends AT%SWV: a cover that is silent is
reset by the kernel after 5 seconds.

Ends with 0 when there is no problem, and with 1 when there is one. Run it as the service's
user; only root sees what the programs of other users have open.

Examples:
  bivistactl doctor
  bivistactl doctor --ask
  bivistactl doctor --json
  sudo bivistactl doctor --user alice)";

struct Options {
    bool ask = false;
    std::string root;
    std::string user;
    // The service waits a shorter time for a cover that is silent.
    int patience = 6000;
};

User parseUser(const std::string& text) {
    return text.empty() ? User() : User(text);
}

// The service's root folder, which on an emulated phone differs from this program's.
std::string worldOf(pid_t service) {
    const std::string root = "/proc/" + std::to_string(service) + "/root";
    return service != 0 && Tree(root).exists() ? root : "/";
}

void append(Findings* findings, const Findings& more) {
    findings->insert(findings->end(), more.begin(), more.end());
}

Findings examine(const Options& options) {
    const std::chrono::milliseconds patience(options.patience);
    const Tree machine(options.root.empty() ? "/" : options.root);
    pid_t service = 0;
    Findings findings = {doctor::examineService(machine, patience, &service)};
    const bool isServed = findings.front().weight == Weight::FINE;
    findings.push_back(doctor::examineRegistry());
    if (isServed) {
        findings.push_back(doctor::examineAnswer(options.ask, machine, service, patience));
        // Asked before the dump, which then counts a time-out of this command too.
        append(&findings, doctor::examineDump(patience));
    }
    const User user = parseUser(options.user);
    const Tree world(options.root.empty() ? worldOf(service) : options.root);
    append(&findings, doctor::examineCover({machine, world, user, service}));
    findings.push_back(doctor::examineModemDaemon(machine));
    return findings;
}

std::string verdict(Weight weight) {
    switch (weight) {
        case Weight::FINE:
            return cli::inColour(cli::Colour::GOOD, "ok", STDOUT_FILENO) + "       ";
        case Weight::NOTE:
            return cli::inColour(cli::Colour::NAME, "note", STDOUT_FILENO) + "     ";
        case Weight::PROBLEM:
            break;
    }
    return cli::inColour(cli::Colour::BAD, "problem", STDOUT_FILENO) + "  ";
}

std::string inWords(const Findings& findings) {
    std::string text;
    for (const Finding& finding : findings) {
        text += verdict(finding.weight) + finding.check + ": " + spellControls(finding.what) + "\n";
        if (!finding.remedy.empty()) text += "         " + spellControls(finding.remedy) + "\n";
    }
    return text;
}

std::string inJson(const Findings& findings, bool healthy) {
    Json list = Json::array();
    for (const Finding& finding : findings) {
        Json entry = {{"check", finding.check},
                      {"ok", finding.weight != Weight::PROBLEM},
                      {"what", finding.what}};
        if (finding.weight == Weight::NOTE) entry["note"] = true;
        if (!finding.remedy.empty()) entry["remedy"] = finding.remedy;
        list.push_back(entry);
    }
    return toLine({{"ok", healthy}, {"findings", list}}) + "\n";
}

int report(const Options& options, bool json) {
    const Findings findings = examine(options);
    const bool healthy = std::all_of(findings.begin(), findings.end(), [](const Finding& finding) {
        return finding.weight != Weight::PROBLEM;
    });
    printOrFail(json ? inJson(findings, healthy) : inWords(findings));
    return healthy ? EXIT_ANSWERED_OK : EXIT_ANSWERED_FAIL;
}

// Ends without joining: a thread may still wait for the service, also when the report failed.
[[noreturn]] int reportAndEnd(const Options& options, bool json) {
    quick_exit(runToExitStatus([&] { return report(options, json); }));
}

}  // namespace

void addDoctorCommand(cli::Command& program) {
    cli::Command& command =
            program.add("doctor", "Find out what is wrong, and what to do about it", kHelp);
    auto options = std::make_shared<Options>();
    addPrinting(command, [options](bool json) { return reportAndEnd(*options, json); });
    command.flag("--ask", &options->ask,
                 "Also ask the cover for its firmware version, which resets one that is silent");
    command.take("--user", &options->user,
                 "Whose rights to the nodes count, by name or number; yours by default")
            .check([](const std::string& text) { return faultOf([&] { parseUser(text); }); });
    // For tests.
    command.take("--root", &options->root, "").hidden();
    command.take("--patience-ms", &options->patience, "").hidden();
}

}  // namespace bivistactl
