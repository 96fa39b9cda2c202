// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Makes a recording, which can be replayed, out of what the service wrote into a phone's log.
#pragma once

#include "emulator/phonelog/Draft.h"

namespace phonelog {

struct Imported {
    recording::Recording recording;
    Findings findings;
};

Imported importLog(const ServiceLog& log);

}  // namespace phonelog
