// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Parts of the answer to GET /v1/state, read by a client. They throw Json::exception for others.
#pragma once

#include <string>

#include "emulator/cover/ScreenView.h"
#include "emulator/phone/control/Argument.h"

namespace control {

// Of "screen".
cover::ScreenView screenOf(const Json& screen);

// Of "sub_display" and "loader", in words.
std::string showSubDisplay(const Json& display);
std::string showLoader(const Json& loader);

}  // namespace control
