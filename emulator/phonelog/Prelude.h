// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What must have been before the first line of a log that begins while the cover is attached.
#pragma once

#include "emulator/phonelog/Calls.h"
#include "emulator/phonelog/Devices.h"

namespace phonelog {

// The screen was on before the first line: a vote where the first exchange begins tells of it.
bool beginsWithScreen(const Draft& draft);

// Nothing for a log that begins otherwise.
void addPrelude(Draft& draft, const Devices& devices, const Calls& calls);

}  // namespace phonelog
