// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/program/CtlCommand.h"

#include <map>
#include <memory>
#include <optional>

#include "emulator/phone/control/Ability.h"
#include "emulator/phone/program/AbilityCommand.h"

namespace emulator {

void addCtl(cli::Command& program) {
    cli::Command& ctl = program.add("ctl", "Speak to a running emulator");
    ctl.setHelp(
            "Exit status: 0 done; 1 refused by the emulator, or the file of \"snapshot\" cannot "
            "be\n"
            "written; 2 wrong arguments; 3 no emulator, or what answers is none; 4 standard output "
            "cannot\n"
            "be written, or this program ran out of memory, descriptors or threads.\n\n"
            "Examples:\n"
            "  bivista-emulator ctl detach\n"
            "  bivista-emulator ctl fault 'on AT%SWV late 2s times 1'\n"
            "  bivista-emulator ctl pen BV_PEN_WAKEUP\n"
            "  bivista-emulator ctl journal --follow");
    std::map<std::string, cli::Command*> commands = {{"", &ctl}};
    for (const control::Ability& ability : control::abilities()) {
        const size_t space = ability.name.find(' ');
        const bool isBelow = space != std::string::npos;
        cli::Command& command =
                commands.at(isBelow ? ability.name.substr(0, space) : "")
                        ->add(ability.name.substr(isBelow ? space + 1 : 0), ability.help);
        commands[ability.name] = &command;
        if (!ability.requests.empty()) addAbility(command, ability);
    }
    // After all commands are made: a new command takes over the help of the command above it.
    for (const control::Ability& ability : control::abilities()) {
        if (!ability.more.empty()) commands.at(ability.name)->setHelp(ability.more);
    }
}

}  // namespace emulator
