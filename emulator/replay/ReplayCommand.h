// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivista-emulator replay: a recording, played to a service of today.
#pragma once

#include "cli/Command.h"

namespace replay {

// Adds the "replay" command to the program.
void addReplay(cli::Command& program);

}  // namespace replay
