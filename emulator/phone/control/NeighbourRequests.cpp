// The services of other vendors: what they answer, and whether they are there. The client of the
// cover's service.

#include <cstdint>
#include <optional>
#include <string>

#include "emulator/phone/control/Routes.h"

namespace control {

using neighbours::Accessory;
using neighbours::Framework;
using neighbours::Lpwg;
using phone::Phone;

namespace {

// Present, with a state of its own or that of the cover.
Json setAccessory(Accessory& accessory, const httplib::Request& request) {
    Members members(request.body);
    const std::optional<uint32_t> state = members.take<uint32_t>("state");
    const std::optional<uint32_t> type = members.take<uint32_t>("type");
    members.refuseOthers();
    if (type && !state) throw BadRequest("\"type\" needs \"state\"");
    std::optional<neighbours::AccessoryState> fixed;
    if (state) fixed = neighbours::AccessoryState{type.value_or(0), *state};
    accessory.setState(fixed);
    accessory.serve();
    return Json::object();
}

// Present, with a result of its own or the one it had.
Json setLpwg(Lpwg& lpwg, const httplib::Request& request) {
    Members members(request.body);
    const std::optional<int> result = members.take<int>("result");
    members.refuseOthers();
    if (result) lpwg.setResult(*result);
    lpwg.serve();
    return Json::object();
}

Json listen(Framework& framework, const httplib::Request& request) {
    Members members(request.body);
    const std::string version = members.take<std::string>("version").value_or("1.1");
    members.refuseOthers();
    if (version != "1.0" && version != "1.1") {
        throw BadRequest("\"version\" must be \"1.0\" or \"1.1\"");
    }
    framework.listen(version == "1.0" ? Framework::Version::V1_0 : Framework::Version::V1_1);
    return Json::object();
}

// The requests of one neighbour: PUT makes it present, or declared and not up, DELETE absent.
template <typename Neighbour>
void addNeighbour(httplib::Server& server, Phone& phone, const std::string& path,
                  Neighbour& neighbour, Json (*set)(Neighbour&, const httplib::Request&)) {
    server.Put(path, makeHandler(phone, [&neighbour, set](Phone&, const httplib::Request& request) {
                   return set(neighbour, request);
               }));
    server.Put(path + "/declared",
               makeHandler(phone, [&neighbour](Phone&, const httplib::Request& request) {
                   Members(request.body).refuseOthers();
                   neighbour.declare();
                   return Json::object();
               }));
    server.Delete(path, makeHandler(phone, [&neighbour](Phone&, const httplib::Request&) {
                      neighbour.withdraw();
                      return Json::object();
                  }));
}

}  // namespace

void addNeighbourRequests(httplib::Server& server, Phone& phone,
                          neighbours::Neighbours& neighbours) {
    addNeighbour(server, phone, "/v1/accessory", neighbours.accessory, setAccessory);
    addNeighbour(server, phone, "/v1/lpwg", neighbours.lpwg, setLpwg);
    server.Put("/v1/listen",
               makeHandler(phone, [&neighbours](Phone&, const httplib::Request& request) {
                   return listen(neighbours.framework, request);
               }));
}

}  // namespace control
