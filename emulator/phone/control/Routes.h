// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The requests of the table, as the HTTP server answers them.
#pragma once

#include <httplib.h>

#include "emulator/phone/control/Ability.h"

namespace control {

// Longest body of a request, in bytes.
inline constexpr size_t kMaxBody = 1 << 20;

// Makes the server answer every request of the table and return the table itself (GET
// /v1/abilities). Every error has a reason.
void addRoutes(httplib::Server& server, const Emulator& emulator);

}  // namespace control
