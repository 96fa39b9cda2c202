// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include "cli/Command.h"

namespace phonelog {

// "bivista-emulator import": makes a recording out of a phone's log.
void addImport(cli::Command& program);

}  // namespace phonelog
