// What each request of the control interface does.
#pragma once

#include <httplib.h>

#include "emulator/phone/Phone.h"
#include "emulator/phone/control/WaitingRoom.h"
#include "emulator/phone/neighbours/Neighbours.h"

namespace control {

// Routes all requests of `server` to `phone` and `neighbours`. Those that wait do it in `room`, and
// end when it is closed.
void addRequests(httplib::Server& server, phone::Phone& phone, neighbours::Neighbours& neighbours,
                 WaitingRoom& room);

}  // namespace control
