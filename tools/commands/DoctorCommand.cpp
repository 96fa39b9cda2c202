// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl doctor: finds what keeps the cover from working, and names the remedy.

#include <stdlib.h>

#include <memory>
#include <string>

#include "tools/ExitStatus.h"
#include "tools/commands/Command.h"
#include "tools/doctor/Examination.h"
#include "tools/report/Report.h"
#include "tools/text/Text.h"

namespace bivistactl {
namespace {

using ::doctor::Findings;
using ::doctor::User;

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

With REPORT the doctor explains what "bivistactl report" has gathered, here or elsewhere:
what was found there, and what the service's dump, history and log tell of brightness,
screen, events and picture, with the lines that show it. It asks no service then.

Ends with 0 when there is no problem, and with 1 when there is one. Run it as the service's
user; only root sees what the programs of other users have open.

Examples:
  bivistactl doctor
  bivistactl doctor --ask
  bivistactl doctor --json
  bivistactl doctor bivista-report-20261123-041800.tar.gz
  sudo bivistactl doctor --user alice)";

struct Options {
    bool ask = false;
    std::string report;
    std::string root;
    std::string user;
    // The service waits a shorter time for a cover that is silent.
    int patience = 6000;
};

User parseUser(const std::string& text) {
    return text.empty() ? User() : User(text);
}

// Of a report's file, which is read in memory.
Findings explainReport(const std::string& path) {
    try {
        const std::string file = path == "-" ? "/dev/stdin" : path;
        return ::report::explain(::report::readReport(readFile(file, ::report::kMostArchive)));
    } catch (const BadArgument& fault) {
        throw Failure(EXIT_USAGE, fault.what());
    } catch (const ::report::BadReport& fault) {
        throw Failure(EXIT_USAGE, path + " is no report that can be read: " +
                                          spellControls(fault.what()) + ".");
    }
}

Findings examine(const Options& options) {
    if (!options.report.empty()) return explainReport(options.report);
    return doctor::examine({options.ask, options.root, parseUser(options.user),
                            std::chrono::milliseconds(options.patience)});
}

int report(const Options& options, bool json) {
    const Findings findings = examine(options);
    printOrFail(json ? doctor::inJson(findings) : doctor::inWords(findings));
    return doctor::hasProblem(findings) ? EXIT_ANSWERED_FAIL : EXIT_ANSWERED_OK;
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
    command.take("REPORT", &options->report,
                 "A file of \"bivistactl report\" to explain, in the place of this machine; - for "
                 "standard input");
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
