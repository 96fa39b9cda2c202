// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/program/EmulatorProgram.h"

#include <exception>
#include <string>

#include "cli/Command.h"
#include "cli/Message.h"
#include "cli/Output.h"
#include "cli/Process.h"
#include "emulator/phone/program/CtlCommand.h"
#include "emulator/phone/program/RunCommand.h"
#include "emulator/phonelog/ImportCommand.h"
#include "emulator/play/PlayCommand.h"
#include "emulator/replay/ReplayCommand.h"
#include "emulator/ui/UiCommand.h"

namespace emulator {
namespace {

int runProgram(int argc, char** argv, const run::Ground& ground) {
    cli::Command program(kProgram, "An emulated phone with a cover, and its remote control");
    program.setHelp(
            "\"bivista-emulator run --help\" and \"bivista-emulator ctl --help\" tell more.\n\n"
            "Exit status: that of the command; 0 after --help and --version, 2 wrong arguments, 4 "
            "standard\n"
            "output cannot be written, or this program ran out of memory, descriptors or threads.");
    addRun(program, ground);
    addCtl(program);
    ui::addUi(program);
    phonelog::addImport(program);
    play::addPlay(program);
    replay::addReplay(program);
    return program.run(argc, argv, kUsage);
}

}  // namespace

int runEmulator(int argc, char** argv, const run::Ground& ground) {
    cli::beginProcess();
    try {
        return runProgram(argc, argv, ground);
    } catch (const cli::OutputFailed& failure) {
        cli::complain(kProgram, failure.what());
    } catch (const std::exception& error) {
        cli::complain(kProgram, std::string("this program failed: ") + error.what());
    }
    return kFailed;
}

}  // namespace emulator
