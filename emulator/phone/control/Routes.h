// The requests of the table, as the HTTP server answers them.
#pragma once

#include <httplib.h>

#include "emulator/phone/control/Ability.h"

namespace control {

// What a request's body may hold.
inline constexpr size_t kMaxBody = 1 << 20;

// Has the server answer every request of the table, tell the table itself (GET /v1/abilities), and
// give a reason with every error.
void addRoutes(httplib::Server& server, const Emulator& emulator);

}  // namespace control
