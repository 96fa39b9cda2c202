// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivista-emulator run: a program on an emulated phone.
#pragma once

#include "cli/Command.h"

namespace emulator {

// Adds the "run" command to the program.
void addRun(cli::Command& program);

}  // namespace emulator
