// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "emulator/play/Scenario.h"

namespace play {

// As read(), of a file that holds these bytes.
Scenario readBytes(const std::string& bytes, const std::filesystem::path& file);

}  // namespace play
