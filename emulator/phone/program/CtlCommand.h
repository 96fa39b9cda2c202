// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivista-emulator ctl: speaks to the control interface of a running emulator.
#pragma once

#include "cli/Command.h"
#include "emulator/phone/run/ProgramRun.h"

namespace emulator {

using run::kProgram;

// Exit statuses of ctl.
inline constexpr int kRefused = 1;  // the emulator refused, or a file cannot be written
inline constexpr int kUsage = 2;
inline constexpr int kNoEmulator = 3;  // no emulator, it ended, or another program answers
// Standard output cannot be written, or this program ran out of memory, descriptors or threads.
inline constexpr int kFailed = 4;

// Adds the "ctl" command with its own commands to the program.
void addCtl(cli::Command& program);

}  // namespace emulator
