// bivistactl: the Bivista service from the command line, through its HIDL interface alone.

#include <exception>

#include "cli/Process.h"
#include "tools/Command.h"
#include "tools/Failure.h"
#include "tools/Output.h"

namespace bivistactl {
namespace {

constexpr const char* kHelp = R"(
Exit status: 0 done; 1 the service answered FAIL, or the doctor found a problem; 2 wrong
usage; 3 no service, or it died during the call; 4 standard output cannot be written, or
this program ran out of memory, descriptors or threads.

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

// Each in the file of its name.
constexpr void (*kAddCommands[])(cli::Command&) = {
        addStatusCommand, addDoctorCommand, addPowerCommand,    addBrightnessCommands,
        addColourCommand, addCutoutCommand, addSubCommand,      addTouchCommand,
        addPenCommand,    addLpwgCommand,   addFirmwareCommand, addAtCommand,
        addWatchCommand,  addCallCommand,   addDumpCommand,
};

int run(int argc, char** argv) {
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
