// What each request of the control interface does.
#pragma once

#include <atomic>

#include <httplib.h>

#include "emulator/phone/Phone.h"
#include "emulator/phone/neighbours/Accessory.h"

namespace control {

// Routes all requests of `server` to `phone` and `accessory`. Requests that wait for the journal
// end when `stopping` becomes true.
void addRequests(httplib::Server& server, phone::Phone& phone, neighbours::Accessory& accessory,
                 const std::atomic<bool>& stopping);

}  // namespace control
