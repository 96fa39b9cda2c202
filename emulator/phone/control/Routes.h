// How a request is answered: its action, and what becomes of the action's errors.
#pragma once

#include <functional>

#include <httplib.h>

#include "emulator/phone/Phone.h"
#include "emulator/phone/control/Members.h"
#include "emulator/phone/control/WaitingRoom.h"
#include "emulator/phone/neighbours/Neighbours.h"

namespace control {

// What a request's body may hold.
inline constexpr size_t kMaxBody = 1 << 20;

// Answers with this status and body.
void reply(httplib::Response& response, int status, const Json& body);

// What a request does; gives the body of its answer. BadRequest is answered 400, phone::Error 409,
// Busy 503.
using Action = std::function<Json(phone::Phone&, const httplib::Request&)>;

httplib::Server::Handler makeHandler(phone::Phone& phone, const Action& action);
// For an action that answers by itself.
httplib::Server::Handler makeHandler(const httplib::Server::Handler& action);

// Gives errors that the HTTP library finds by itself a body.
void explainErrors(httplib::Server& server);

// For requests without a body, that only do something.
Action plain(void (*work)(phone::Phone&));

// What the files of this folder add to the server.
void addCoverRequests(httplib::Server& server, phone::Phone& phone, WaitingRoom& room);
void addEventRequests(httplib::Server& server, phone::Phone& phone);
void addFirmwareRequests(httplib::Server& server, phone::Phone& phone);
void addJournalRequests(httplib::Server& server, phone::Phone& phone, WaitingRoom& room);
void addNeighbourRequests(httplib::Server& server, phone::Phone& phone,
                          neighbours::Neighbours& neighbours);

}  // namespace control
