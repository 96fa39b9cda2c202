// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the service did, by lanes.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "emulator/recording/Recording.h"

namespace recording {

// In the order of their begin.
using Deeds = std::vector<const phone::Entry*>;

// Those of the lanes that the header names.
Deeds deedsOf(const Header& header, const std::vector<phone::Entry>& entries);
std::map<std::string, Deeds> byLane(const Deeds& deeds);

// Whether the service did the same. What a log does not tell is not compared.
bool isSame(const Header& header, const phone::Entry& recorded, const phone::Entry& replayed);

}  // namespace recording
