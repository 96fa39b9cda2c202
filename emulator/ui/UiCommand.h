// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivista-emulator ui: the page that shows the emulated phone.
#pragma once

#include "cli/Command.h"

namespace ui {

// Adds the "ui" command to the program.
void addUi(cli::Command& program);

}  // namespace ui
