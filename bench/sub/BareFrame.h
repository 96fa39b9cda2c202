// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A frame by hand: the system calls that one needs, and nothing else.
#pragma once

namespace bench {

// Opens the node, writes three reports of 8192 bytes together, closes it; opens it again, writes
// the empty report, closes it. False when any call fails.
bool bareFrame(const char* node);

}  // namespace bench
