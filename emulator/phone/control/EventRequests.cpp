// Kernel events.

#include <string>

#include "emulator/phone/control/Routes.h"

namespace control {

using phone::Phone;

namespace {

Json raiseTouchEvent(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    const std::string name = members.needBytes("name");
    members.refuseOthers();
    phone.uevents.raiseTouch(name);
    return Json::object();
}

Json raiseUevent(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    const std::string message = members.needBytes("bytes");
    const bool forged = members.take<bool>("forged").value_or(false);
    members.refuseOthers();
    if (forged) {
        phone.uevents.forge(message);
    } else {
        phone.uevents.raise(message);
    }
    return Json::object();
}

}  // namespace

void addEventRequests(httplib::Server& server, Phone& phone) {
    server.Post("/v1/event", makeHandler(phone, raiseTouchEvent));
    server.Post("/v1/uevent", makeHandler(phone, raiseUevent));
}

}  // namespace control
