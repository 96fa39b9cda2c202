// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Makes a recording, which can be replayed, out of what the service wrote into a phone's log.
#pragma once

#include "emulator/phonelog/Draft.h"

namespace phonelog {

struct Imported {
    recording::Recording recording;
    Findings findings;
};

// Without texts that may tell of a person or device, if it redacts. Throws TooLong when the
// recording would be longer than a replay reads.
Imported importLog(const ServiceLog& log, bool redacts = false);

}  // namespace phonelog
