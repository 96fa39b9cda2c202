// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What an AT command is called where its exchanges are counted, remembered and traced.
#pragma once

#include <string>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Its text up to "=" or "\r", at most 63 bytes. The name is in capitals, since the cover ignores
// the case. "AT%TCHNOTIFY" and "AT%TCHDEBUG" are many commands in one: their name goes on up to ","
// when the service sends that argument.
std::string nameOfCommand(const char* cmd);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
