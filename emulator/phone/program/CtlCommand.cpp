// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/program/CtlCommand.h"

#include "emulator/phone/program/AbilityCommand.h"
#include "emulator/phone/words/AbilityLine.h"

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
    addAbilities(
            ctl, [](const control::Ability&) { return true; }, addAbility);
}

}  // namespace emulator
