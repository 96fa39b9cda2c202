// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Why a line is no entry of a journal.
#pragma once

#include <string>

#include "emulator/recording/Recording.h"

namespace recording {

// What is wrong with an object that is to be an entry; "" when nothing is, or only that its kind is
// unknown.
std::string whyNoEntry(const Json& object);

}  // namespace recording
