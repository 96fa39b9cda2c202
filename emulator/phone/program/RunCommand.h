// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivista-emulator run: a program on an emulated phone.
#pragma once

#include "cli/Command.h"
#include "emulator/phone/run/ProgramRun.h"

namespace emulator {

// Adds the "run" command, whose phone stands on this ground, to the program.
void addRun(cli::Command& program, const run::Ground& ground);

}  // namespace emulator
