#include "emulator/phone/control/Requests.h"

#include <chrono>
#include <string>

#include "emulator/cover/ScreenView.h"
#include "emulator/phone/control/Routes.h"

namespace control {

using neighbours::Neighbours;
using phone::Phone;

namespace {

std::string takePath(const httplib::Request& request) {
    if (!request.has_param("path")) throw BadRequest("\"path\" is missing");
    return request.get_param_value("path");
}

Json listFaults(Phone& phone) {
    return phone.faults.list();
}

Json listProperties(Phone& phone) {
    Json list = Json::object();
    for (const auto& [key, value] : phone.properties.list()) {
        list[cover::escape(key)] = cover::escape(value);
    }
    return list;
}

Json showScreen(const cover::ScreenView& view) {
    if (!view.on) return {{"on", false}};
    return {{"on", true},
            {"brightness", view.brightness},
            {"rgb", view.rgb},
            {"tune", view.tune},
            {"mode", view.mode}};
}

Json showChatter(Phone& phone) {
    const std::optional<cover::Chatter> chatter = phone.cover.chatter();
    if (!chatter) return nullptr;
    return {{"text", cover::escape(chatter->text)},
            {"gap_us",
             std::chrono::duration_cast<std::chrono::microseconds>(chatter->gap).count()}};
}

Json showSubDisplay(Phone& phone) {
    const cover::PanelState state = phone.panel.state();
    const cover::PanelOptions options = phone.panel.options();
    return {{"attached", phone.panel.isAttached()},
            {"on", state.on},
            {"brightness", state.brightness},
            {"width", options.width},
            {"height", options.height},
            {"format", options.format},
            {"ready", options.ready},
            {"frames", state.frames},
            {"reports", state.reports},
            {"refused", state.refused}};
}

// A neighbour that is not up.
template <typename Neighbour>
Json showAway(const Neighbour& neighbour) {
    return {{"present", false}, {"declared", neighbour.isDeclared()}};
}

Json showAccessory(const neighbours::Accessory& accessory) {
    if (!accessory.isServed()) return showAway(accessory);
    const neighbours::AccessoryState state = accessory.state();
    return {{"present", true}, {"type", state.type}, {"state", state.state}};
}

Json showLpwg(const neighbours::Lpwg& lpwg) {
    if (!lpwg.isServed()) return showAway(lpwg);
    return {{"present", true}, {"result", lpwg.result()}};
}

Json showState(Phone& phone, const Neighbours& neighbours) {
    Json cover = Json::object();
    for (const auto& [name, value] : phone.cover.listState()) cover[name] = value;
    return {{"attached", phone.cover.isAttached()},
            {"screen", showScreen(cover::viewOf(phone.cover.state()))},
            {"sub_display", showSubDisplay(phone)},
            {"cover", cover},
            {"chatter", showChatter(phone)},
            {"accessory", showAccessory(neighbours.accessory)},
            {"lpwg", showLpwg(neighbours.lpwg)},
            {"faults", listFaults(phone)},
            {"properties", listProperties(phone)}};
}

Json addFault(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    const std::string text = members.need<std::string>("text");
    members.refuseOthers();
    phone.faults.set(text);
    return Json::object();
}

Json setProperty(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    const std::string key = members.needBytes("key");
    const std::string value = members.needBytes("value");
    members.refuseOthers();
    phone.properties.set(key, value);
    return Json::object();
}

Json showNode(Phone& phone, const httplib::Request& request) {
    const std::string path = takePath(request);
    const std::optional<std::string> content = phone.files.get(path);
    if (!content) throw phone::Error("there is no file " + path);
    return {{"path", path}, {"bytes", cover::escape(*content)}};
}

Json setNode(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    const std::string path = members.need<std::string>("path");
    const std::string bytes = members.needBytes("bytes");
    members.refuseOthers();
    phone.files.set(path, bytes);
    return Json::object();
}

Json setWakeLock(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    const bool held = members.need<bool>("held");
    members.refuseOthers();
    phone.files.setWakeLock(held);
    return Json::object();
}

void addPhoneRequests(httplib::Server& server, Phone& phone) {
    const auto handler = [&phone](const Action& action) { return makeHandler(phone, action); };
    server.Get("/v1/faults", handler([](Phone& p, const httplib::Request&) -> Json {
                   return {{"faults", listFaults(p)}};
               }));
    server.Post("/v1/faults", handler(addFault));
    server.Delete("/v1/faults", handler(plain([](Phone& p) { p.faults.clear(); })));
    server.Get("/v1/properties", handler([](Phone& p, const httplib::Request&) -> Json {
                   return {{"properties", listProperties(p)}};
               }));
    server.Put("/v1/properties", handler(setProperty));
    server.Delete("/v1/properties", handler(plain([](Phone& p) { p.properties.clear(); })));
    server.Get("/v1/node", handler(showNode));
    server.Put("/v1/node", handler(setNode));
    server.Delete("/v1/node", handler([](Phone& p, const httplib::Request& request) {
                      p.files.remove(takePath(request));
                      return Json::object();
                  }));
    server.Put("/v1/wakelock", handler(setWakeLock));
}

void addWholeRequests(httplib::Server& server, Phone& phone, Neighbours& neighbours) {
    server.Get("/v1/state",
               makeHandler(phone, [&neighbours](Phone& p, const httplib::Request& /*request*/) {
                   return showState(p, neighbours);
               }));
    server.Post("/v1/reset",
                makeHandler(phone, [&neighbours](Phone& p, const httplib::Request& /*request*/) {
                    p.reset();
                    neighbours.reset();
                    return Json::object();
                }));
}

}  // namespace

void addRequests(httplib::Server& server, Phone& phone, Neighbours& neighbours, WaitingRoom& room) {
    addCoverRequests(server, phone, room);
    addFirmwareRequests(server, phone);
    addPhoneRequests(server, phone);
    addEventRequests(server, phone);
    addNeighbourRequests(server, phone, neighbours);
    addWholeRequests(server, phone, neighbours);
    addJournalRequests(server, phone, room);
    explainErrors(server);
}

}  // namespace control
