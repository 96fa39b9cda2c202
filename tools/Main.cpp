// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl: the Bivista service from the command line, through its HIDL interface alone.

#include <android-base/unique_fd.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>

#include <exception>
#include <string>
#include <vector>

#include "cli/Process.h"
#include "tools/ExitStatus.h"
#include "tools/commands/Commands.h"

namespace bivistactl {
namespace {

using ::android::base::unique_fd;

constexpr const char* kHelp = R"(
Exit status:
  0  done
  1  the service answered FAIL, its panel cannot be drawn on, or it has no dump; an
     upgrade that was waited for did not end well; the time of a wait was over; the doctor
     found a problem; another client took the callback of a watch
  2  wrong usage; the service did nothing
  3  no service answers, or it died during the call
  4  standard output cannot be written, or this program ran out of memory,
     descriptors or threads

HIDL_SOCKET_DIR names the folder where services register; it must be the one that the
service was started with.

Examples:
  bivistactl status
  bivistactl doctor
  bivistactl power on
  bivistactl brightness 128
  bivistactl sub show picture.png
  bivistactl firmware check
  bivistactl at 'AT%SWV'
  bivistactl call setPowerStatus true false)";

// In the order of the help.
constexpr void (*kAddCommands[])(cli::Command&) = {
        addStatusCommand,  addWaitCommand,  addDoctorCommand, addReportCommand,
        addScreenCommands, addSubCommand,   addTouchCommands, addFirmwareCommand,
        addAtCommand,      addWatchCommand, addCallCommand,   addSessionCommand,
        addDumpCommand,
};

// More than any command needs at once. With fewer, a service that is there would seem absent.
constexpr int kDescriptors = 16;

void requireDescriptors() {
    std::vector<unique_fd> free;
    while (free.size() < kDescriptors) {
        free.emplace_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
        if (free.back() >= 0) continue;
        throw Failure(EXIT_NO_OUTPUT, "this program cannot open " + std::to_string(kDescriptors) +
                                              " files: " + strerror(errno) +
                                              ". Allow more: ulimit -n 64");
    }
}

int run(int argc, char** argv) {
    requireDescriptors();
    cli::Command program("bivistactl", "Controls the Bivista cover through its service.");
    program.setHelp(kHelp);
    for (auto* add : kAddCommands) add(program);
    return program.run(argc, argv, EXIT_USAGE);
}

}  // namespace
}  // namespace bivistactl

int main(int argc, char** argv) {
    cli::beginProcess();
    std::set_terminate(bivistactl::endOnUncaughtException);
    return bivistactl::runToExitStatus([&] { return bivistactl::run(argc, argv); });
}
