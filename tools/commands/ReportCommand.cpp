// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl report: one file that tells what happened.

#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "cli/File.h"
#include "tools/ExitStatus.h"
#include "tools/commands/Command.h"
#include "tools/report/Gathering.h"

namespace bivistactl {
namespace {

constexpr char kHelp[] = R"(
Gathers what tells what happened, for somebody who was not there: versions and machine
(manifest.json), the service's dump and last events, what the doctor finds, the service's
properties and log, kernel messages; of an emulated phone its state, journal and kernel
log. FILE is a compressed tar, which only you may read, by default
bivista-report-DATE-TIME.tar.gz in this folder. "bivistactl doctor FILE" explains it.

Sends the cover nothing. It works without a service, and with one that does not answer:
what could not be had stands in manifest.json with the reason, and on standard error.

A report holds personal texts: names of host and user, paths, the commands of clients and
the cover's answers with its serial numbers, whatever was logged, and what was drawn.
--redact leaves out all texts but the service's own words: logs, properties, the
emulator's state, host and user, commands that only clients send, the doctor's sentences,
and of the emulator's journal all bytes. Numbers and times stay.

Examples:
  bivistactl report
  bivistactl report --redact report.tar.gz
  bivistactl report - | bivistactl doctor -)";

struct Options {
    std::string file;
    bool force = false;
    bool redact = false;
    int patience = 6000;
};

// A file that is not there yet.
std::string nameOfNow() {
    const time_t now = time(nullptr);
    tm parts = {};
    char date[64];
    localtime_r(&now, &parts);
    strftime(date, sizeof(date), "%Y%m%d-%H%M%S", &parts);
    const std::string name = std::string("bivista-report-") + date;
    std::string file = name + ".tar.gz";
    for (int more = 2; access(file.c_str(), F_OK) == 0; ++more) {
        file = name + "-" + std::to_string(more) + ".tar.gz";
    }
    return file;
}

// Before anything is gathered.
void requirePlace(const std::string& file, bool force) {
    if (file == "-") {
        if (isatty(STDOUT_FILENO) != 0) {
            throw Failure(EXIT_USAGE, "a report is not for a terminal: name a file, or a pipe.");
        }
    } else if (!force && access(file.c_str(), F_OK) == 0) {
        throw Failure(EXIT_USAGE, file + " is there already. Choose another name, or --force.");
    }
}

void write(const std::string& file, const std::string& archive) {
    if (file == "-") return printOrFail(archive);
    umask(077);
    const std::string fault = cli::writeFile(file, archive);
    if (!fault.empty()) {
        throw Failure(EXIT_NO_OUTPUT, "cannot write " + file + ": " + fault);
    }
}

void tellMissing(const report::Manifest& manifest) {
    for (const report::Missing& missing : manifest.missing) {
        remark("without " + inWords(missing));
    }
}

void tell(const std::string& file, const report::Made& made, bool json) {
    if (json) {
        Json missing = Json::array();
        for (const report::Missing& each : made.manifest.missing) {
            missing.push_back({{"name", each.name}, {"why", each.why}});
        }
        printOrFail(toLine({{"report", file}, {"members", made.members}, {"missing", missing}}) +
                    "\n");
    } else {
        printOrFail(file + "\n");
    }
}

int make(const Options& options, bool json) {
    const std::string file = options.file.empty() ? nameOfNow() : options.file;
    requirePlace(file, options.force);
    doctor::Examination examination;
    examination.patience = std::chrono::milliseconds(options.patience);
    const report::Made made = report::makeReport(examination, options.redact);
    tellMissing(made.manifest);
    write(file, made.archive);
    if (file != "-") tell(file, made, json);
    return EXIT_ANSWERED_OK;
}

}  // namespace

void addReportCommand(cli::Command& program) {
    cli::Command& command =
            program.add("report", "Gather in one file what tells what happened", kHelp);
    auto options = std::make_shared<Options>();
    addPrinting(command, [options](bool json) -> int {
        if (json && options->file == "-") {
            cli::refuseUsage("--json", "standard output has the report itself.");
        }
        // Ends without joining: a thread may still wait for the service.
        quick_exit(runToExitStatus([&] { return make(*options, json); }));
    });
    command.take("FILE", &options->file, "Where to write it; - for standard output")
            .write("FILE", "bivista-report-DATE-TIME.tar.gz");
    command.flag("--force", &options->force, "Replace a file of that name");
    command.flag("--redact", &options->redact, "Leave out the texts that may be personal");
    // For tests.
    command.take("--patience-ms", &options->patience, "").hidden();
}

}  // namespace bivistactl
