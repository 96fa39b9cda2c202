// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivista-emulator play: scenarios.
#pragma once

#include "cli/Command.h"

namespace play {

// Adds the "play" command to the program.
void addPlay(cli::Command& program);

}  // namespace play
