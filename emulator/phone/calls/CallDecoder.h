// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A recorded call as an entry of the journal.
#pragma once

#include <optional>

#include "emulator/phone/Journal.h"
#include "host/hidl/CallRing.h"

namespace calls {

// Nothing when the call is of another interface than the cover's, or recorded by a client. Long
// arguments and results are shortened for the memory (phone/Digest.h). The record may hold
// anything: arguments that cannot be read are left out, and a result that cannot is noted as
// "unreadable".
std::optional<phone::Past> decode(android::hardware::calls::CallRecord record);

}  // namespace calls
