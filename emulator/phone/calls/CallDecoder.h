// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A recorded call as an entry of the journal.
#pragma once

#include <optional>

#include "emulator/phone/Journal.h"
#include "host/hidl/CallRing.h"

namespace calls {

// An argument or result whose JSON text has more bytes stands in memory as its length and CRC-32.
inline constexpr size_t kLongest = 256;

// Nothing when the call is of another interface than the cover's. The record may hold anything:
// arguments that cannot be read are left out, and a result that cannot is noted as "unreadable".
std::optional<phone::Past> decode(android::hardware::calls::CallRecord record);

}  // namespace calls
