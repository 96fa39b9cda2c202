// bivista-emulator: an emulated phone with a cover, and its remote control.

#include "cli/Command.h"
#include "cli/Message.h"
#include "cli/Output.h"
#include "cli/Process.h"
#include "emulator/phone/program/CtlCommand.h"
#include "emulator/phone/program/RunCommand.h"

namespace {

// Exit status when a help or the version cannot be written.
constexpr int kNoOutput = 4;

}  // namespace

int main(int argc, char** argv) {
    cli::beginProcess();
    cli::Command program(emulator::kProgram,
                         "An emulated phone with a cover, and its remote control");
    program.setHelp(
            "\"bivista-emulator run --help\" and \"bivista-emulator ctl --help\" tell more.\n\n"
            "Exit status: that of the command; 0 after --help and --version, 2 wrong arguments, 4 "
            "standard\n"
            "output cannot be written.");
    emulator::addRun(program);
    emulator::addCtl(program);
    try {
        return program.run(argc, argv, emulator::kUsage);
    } catch (const cli::OutputFailed& failure) {
        cli::complain(emulator::kProgram, failure.what());
        return kNoOutput;
    }
}
