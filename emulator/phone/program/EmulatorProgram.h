// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The program bivista-emulator, on any ground.
#pragma once

#include "emulator/phone/run/ProgramRun.h"

namespace emulator {

// main(): "run" puts its phone, and "play" each of its phones, on this ground. Returns the exit
// status.
int runEmulator(int argc, char** argv, const run::Ground& ground);

}  // namespace emulator
