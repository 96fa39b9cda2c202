// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What came from outside besides calls and devices: kernel events, the cover's own log, the phone's
// display, firmware images.
#pragma once

#include "emulator/phonelog/Devices.h"
#include "emulator/phonelog/Threads.h"

namespace phonelog {

// Kernel events, and what the client was told of them.
void addUevents(Draft& draft, const Threads& threads);
// Calls to the phone's pen service, of clients and of events.
void addPenCalls(Draft& draft);
// Lines that the cover said by itself, and the display that goes on and off meanwhile.
void addCoverLog(Draft& draft, const Threads& threads, const Devices& devices);
// SIGUSR1, by which the service ends its USB side.
void addSignals(Draft& draft);
// Images that a look into the folder found.
void addImages(Draft& draft);

}  // namespace phonelog
