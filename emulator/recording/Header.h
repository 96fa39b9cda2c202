// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A recording's first line.
#pragma once

#include "emulator/recording/Recording.h"

namespace recording {

// Whether the object is a header, right or wrong, and no entry.
bool isHeader(const Json& object);

// Takes the header out of such an object. Returns what is wrong with it, or "".
std::string readHeader(const Json& object, Header* header);

}  // namespace recording
