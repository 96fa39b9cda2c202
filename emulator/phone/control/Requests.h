// What each request of the control interface does.
#pragma once

#include <atomic>

#include <httplib.h>

#include "emulator/phone/Phone.h"
#include "emulator/phone/neighbours/Neighbours.h"

namespace control {

// Routes all requests of `server` to `phone` and `neighbours`. Requests that wait for the journal
// end when `stopping` becomes true.
void addRequests(httplib::Server& server, phone::Phone& phone, neighbours::Neighbours& neighbours,
                 const std::atomic<bool>& stopping);

}  // namespace control
