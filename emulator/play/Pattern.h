// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Regular expressions of scenarios.
#pragma once

#include <regex>
#include <string>

#include "emulator/play/Scenario.h"

namespace play {

// ECMAScript's without back references. Throws std::regex_error.
std::regex compile(const std::string& expression);

}  // namespace play
