// bivista-emulator: an emulated phone with a cover, and its remote control.

#include "cli/Command.h"
#include "cli/Process.h"
#include "emulator/phone/program/CtlCommand.h"
#include "emulator/phone/program/RunCommand.h"

int main(int argc, char** argv) {
    cli::beginProcess();
    cli::Command program(emulator::kProgram,
                         "An emulated phone with a cover, and its remote control");
    program.setHelp(
            "\"bivista-emulator run --help\" and \"bivista-emulator ctl --help\" tell more.");
    emulator::addRun(program);
    emulator::addCtl(program);
    return program.run(argc, argv, emulator::kUsage);
}
