// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/ImportCommand.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>

#include "cli/File.h"
#include "cli/Message.h"
#include "cli/Output.h"
#include "emulator/cover/Integers.h"
#include "emulator/phonelog/LogLine.h"
#include "emulator/phonelog/Summary.h"

namespace phonelog {

namespace {

constexpr char kProgram[] = "bivista-emulator";
constexpr int kNothing = 1;
constexpr int kUnreadable = 2;
constexpr int kUnwritable = 4;

struct Options {
    std::string log;
    std::string output;  // empty: standard output
    std::optional<int> pid;
    bool redact = false;
};

int complain(int status, const std::string& what) {
    cli::complain(kProgram, what);
    return status;
}

// Throws NotALog when a replay would not read it.
std::string textOf(const recording::Recording& recording) {
    std::string text;
    const auto append = [&text](const std::string& line) {
        text += line + "\n";
        if (line.size() >= recording::kLongestLine || text.size() > recording::kMostBytes) {
            throw TooLong();
        }
    };
    append(recording::toJson(recording.header));
    for (const phone::Entry& entry : recording.entries) append(phone::toJson(entry));
    return text;
}

int deliver(const Options& options, const std::string& text) {
    if (options.output.empty()) {
        cli::printOrFail(text);
        return 0;
    }
    const std::string wrong = cli::writeFile(options.output, text);
    return wrong.empty() ? 0 : complain(kUnwritable, options.output + ": " + wrong);
}

int importFile(const Options& options) {
    std::ifstream file(options.log, std::ios::binary);
    // A folder opens, too, and cannot be read.
    if (!file || (file.peek() == EOF && file.bad())) {
        return complain(kUnreadable, options.log + ": " + strerror(errno));
    }
    const std::optional<ServiceLog> log = readServiceLog(file, options.pid);
    if (!log) {
        return complain(kNothing,
                        options.log + ": has no line of " + std::string(kServiceTag) +
                                (options.pid ? ", process " + std::to_string(*options.pid) : ""));
    }
    const Imported imported = importLog(*log, options.redact);
    const std::string summary = summarise(*log, imported.findings);
    fwrite(summary.data(), 1, summary.size(), stderr);
    return deliver(options, textOf(imported.recording));
}

}  // namespace

void addImport(cli::Command& program) {
    const auto options = std::make_shared<Options>();
    cli::Command& command =
            program.add("import", "Make a recording out of a phone's log, to be replayed");
    command.take("LOG", &options->log,
                 "What \"adb logcat -v threadtime\" printed, or a bugreport's text")
            .required();
    command.take("-o,--output", &options->output, "File to write the recording to")
            .write("FILE", "standard output");
    command.takeParsed(
                   "--pid",
                   [options](const std::string& text) -> std::string {
                       options->pid = cover::parseInteger<int>(text);
                       return options->pid ? "" : "must be a process id";
                   },
                   "Take this process of the service, not the last one with an attach")
            .write("PID", "");
    command.flag("--redact", &options->redact,
                 "Take texts out that may tell of a person or device");
    command.setHelp(
            "Says on standard error what the log tells, what was inferred from which line, and "
            "what it\ndoes not tell. docs/recordings.md has the details.\n\n"
            "Exit status: 0 done; 1 the log has no line of the service; 2 the log cannot be read, "
            "is none\nor too long, or wrong arguments; 4 the recording cannot be written.");
    command.setAction([options] {
        try {
            return importFile(*options);
        } catch (const NotALog& wrong) {
            return complain(kUnreadable, options->log + wrong.what());
        }
    });
}

}  // namespace phonelog
