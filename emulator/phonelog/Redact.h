// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Takes texts out of a recording that may tell of a person or a device. docs/recordings.md says
// which.
#pragma once

#include <string>
#include <string_view>

#include "emulator/recording/Recording.h"

namespace phonelog {

// Letters become x, digits 0, other bytes that are no punctuation '?': so lengths stay, and the
// recording can be replayed.
void redact(recording::Recording& recording);
// The same of a command, without its "\r". Commands of the service itself stay.
std::string maskCommand(std::string_view text);

}  // namespace phonelog
