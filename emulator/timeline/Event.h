// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Entries that are an item by themselves.
#pragma once

#include "emulator/timeline/Item.h"

namespace timeline {

// The item of the one entry. Of parts of an exchange, of a frame or of an upgrade too.
Item describe(const phone::Entry& entry);

}  // namespace timeline
