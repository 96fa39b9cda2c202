// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A report without the texts that may be personal.
#pragma once

#include "tools/report/Gathering.h"

namespace report {

// Keeps numbers, and of the texts only those that this program knows to be the service's own words.
// Of the emulator's journal, every entry keeps its time and kind. Logs, settings and the emulator's
// state are left out, since anybody may have written into them; `missing` tells that.
Gathering redact(const Gathering& whole);

// The manifest without host, user and the system's own words.
Manifest redact(Manifest manifest);

}  // namespace report
