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

// Answers with a body of JSON. What is no UTF-8 is replaced.
void reply(httplib::Response& response, int status, const Json& body);

// Gives a body to the errors that the HTTP library finds by itself. `first` comes before every
// route, and may answer in its place.
void explainErrors(httplib::Server& server, httplib::Server::HandlerWithResponse first = nullptr);

}  // namespace control
