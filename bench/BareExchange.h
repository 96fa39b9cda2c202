// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// An AT exchange by hand: the system calls that one needs, and nothing else.
#pragma once

namespace bench {

// Opens the port, writes the power control, writes the command, reads `lines` lines, writes the
// power control and closes. False when any call fails.
bool bareExchange(const char* cmd, int lines);

}  // namespace bench
