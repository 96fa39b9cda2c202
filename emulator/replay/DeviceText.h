// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// How the entry of an attach tells what has come.
#pragma once

#include <span>

#include "emulator/replay/Script.h"

namespace replay {

// The device without its exchanges. Where the entry does not tell its nodes, `later` does: the
// first entries that name them.
DeviceScript describeDevice(const phone::Entry& attach, std::span<const phone::Entry> later);

}  // namespace replay
