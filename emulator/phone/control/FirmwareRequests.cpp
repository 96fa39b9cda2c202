// The cover's loader, and the firmware images of the phone.

#include <cstdint>
#include <string>

#include "emulator/phone/control/Routes.h"

namespace control {

using phone::Phone;

namespace {

constexpr uint32_t kImageSize = 1024;

Json attachLoader(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    const std::string serial = members.take<std::string>("serial").value_or("00000000001A");
    const std::string product = members.take<std::string>("product").value_or("TQC330R");
    members.refuseOthers();
    phone.loader.attach(serial, product);
    return Json::object();
}

// Where the cover itself is to be.
Json moveToLoader(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    const std::string mode = members.need<std::string>("mode");
    members.refuseOthers();
    if (mode == "normal") {
        phone.loader.enter(cover::LoaderEntry::OnRequest);
    } else if (mode == "error") {
        phone.loader.enter(cover::LoaderEntry::Error);
    } else if (mode == "leave") {
        phone.loader.leave();
    } else {
        throw BadRequest("\"mode\" must be \"normal\", \"error\" or \"leave\"");
    }
    return Json::object();
}

Json listFirmware(Phone& phone, const httplib::Request& /*request*/) {
    Json files = Json::array();
    for (const phone::File& file : phone.firmware.list()) {
        files.push_back({{"name", cover::escape(file.name)}, {"size", file.size}});
    }
    return {{"files", files}};
}

Json putFirmware(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    const std::string name = members.needBytes("name");
    const uint32_t size = members.take<uint32_t>("size").value_or(kImageSize);
    members.refuseOthers();
    phone.firmware.put(name, size);
    return Json::object();
}

}  // namespace

void addFirmwareRequests(httplib::Server& server, Phone& phone) {
    const auto handler = [&phone](const Action& action) { return makeHandler(phone, action); };
    server.Post("/v1/loader", handler(attachLoader));
    server.Put("/v1/loader", handler(moveToLoader));
    server.Delete("/v1/loader", handler(plain([](Phone& p) { p.loader.detach(); })));
    server.Get("/v1/firmware", handler(listFirmware));
    server.Put("/v1/firmware", handler(putFirmware));
    server.Delete("/v1/firmware", handler(plain([](Phone& p) { p.firmware.clear(); })));
}

}  // namespace control
