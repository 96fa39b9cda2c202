// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The one phone of a test program, made before its first thread.
#pragma once

#include "emulator/phone/Phone.h"

namespace support {

// Ends the program, with one line that gives the reason, when there is none.
phone::Phone& thePhone();

}  // namespace support
