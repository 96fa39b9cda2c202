// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// An ability of the phone as a command of "ctl".
#pragma once

#include "cli/Command.h"
#include "emulator/phone/control/Ability.h"

namespace emulator {

// Gives the command the arguments of the ability, and an action that makes their request.
void addAbility(cli::Command& command, const control::Ability& ability);

}  // namespace emulator
