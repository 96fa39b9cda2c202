// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The phone as a whole: its state, faults, properties and files.

#include <chrono>

#include <unistd.h>

#include "cli/Colour.h"
#include "emulator/cover/ScreenView.h"
#include "emulator/cover/Text.h"
#include "emulator/phone/control/Ability.h"

namespace control {

using phone::Phone;

namespace {

Json listProperties(const Phone& phone) {
    Json list = Json::object();
    for (const auto& [key, value] : phone.properties.list()) {
        list[cover::escape(key)] = cover::escape(value);
    }
    return list;
}

Json describeScreen(const cover::ScreenView& view) {
    if (!view.on) return {{"on", false}};
    return {{"on", true},
            {"brightness", view.brightness},
            {"rgb", view.rgb},
            {"tune", view.tune},
            {"mode", view.mode}};
}

Json describeSubDisplay(const Phone& phone) {
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

Json describeChatter(const Phone& phone) {
    const std::optional<cover::Chatter> chatter = phone.cover.chatter();
    if (!chatter) return nullptr;
    const auto gap = std::chrono::duration_cast<std::chrono::microseconds>(chatter->gap);
    return {{"text", cover::escape(chatter->text)}, {"gap_us", gap.count()}};
}

// A neighbour's presence; `more` only for one that is up.
template <typename Neighbour>
Json describeNeighbour(const Neighbour& neighbour, Json (*more)(const Neighbour&)) {
    Json description = {{"present", neighbour.isServed()}};
    if (neighbour.isServed()) {
        description.update(more(neighbour));
    } else {
        description["declared"] = neighbour.isDeclared();
    }
    return description;
}

Json describeState(const Emulator& emulator, const Json& /*given*/) {
    const Phone& phone = emulator.phone;
    Json cover = Json::object();
    for (const auto& [name, value] : phone.cover.listState()) cover[name] = value;
    const auto accessory = [](const neighbours::Accessory& service) -> Json {
        const neighbours::AccessoryState state = service.state();
        return {{"type", state.type}, {"state", state.state}};
    };
    const auto lpwg = [](const neighbours::Lpwg& service) -> Json {
        return {{"result", service.result()}};
    };
    const std::optional<std::string> power = phone.usbPower.status();
    return {{"attached", phone.cover.isAttached()},
            {"usb_power", power ? Json(*power) : Json()},
            {"screen", describeScreen(cover::viewOf(phone.cover.state()))},
            {"sub_display", describeSubDisplay(phone)},
            {"cover", cover},
            {"banner", cover::escape(phone.cover.options().banner)},
            {"chatter", describeChatter(phone)},
            {"accessory", describeNeighbour(emulator.neighbours.accessory, +accessory)},
            {"lpwg", describeNeighbour(emulator.neighbours.lpwg, +lpwg)},
            {"faults", phone.faults.list()},
            {"properties", listProperties(phone)}};
}

std::string heading(const std::string& name) {
    return cli::inColour(cli::Colour::NAME, name + ":", STDOUT_FILENO);
}

std::string show(const std::string& name, const std::string& value) {
    return heading(name) + " " + value + "\n";
}

std::string showMembers(const Json& object, const std::string& indent) {
    std::string text;
    for (const auto& [name, value] : object.items()) {
        text += indent + show(name, value.is_string() ? value.get<std::string>() : value.dump());
    }
    return text;
}

std::string showScreen(const Json& screen) {
    cover::ScreenView view;
    view.on = screen.at("on").get<bool>();
    if (view.on) {
        screen.at("brightness").get_to(view.brightness);
        screen.at("rgb").get_to(view.rgb);
        screen.at("tune").get_to(view.tune);
        screen.at("mode").get_to(view.mode);
    }
    return cover::toText(view);
}

std::string showSubDisplay(const Json& display) {
    if (!display.at("attached").get<bool>()) return "absent";
    std::string text = "off";
    if (display.at("on").get<bool>()) {
        text = "on, brightness " + display.at("brightness").dump() + " of 255";
    }
    return text + ", " + display.at("width").dump() + " x " + display.at("height").dump() +
           ", format " + display.at("format").dump() + ", frames " + display.at("frames").dump();
}

// The presence, with these members for a neighbour that is up.
std::string showNeighbour(const Json& neighbour, const std::vector<std::string>& members) {
    if (!neighbour.at("present").get<bool>()) {
        return neighbour.at("declared").get<bool>() ? "declared, not up" : "absent";
    }
    std::string text;
    for (const std::string& member : members) {
        text += (text.empty() ? "" : ", ") + member + " " + neighbour.at(member).dump();
    }
    return text;
}

std::string showBanner(const Json& banner) {
    return banner == "" ? "none" : banner.get<std::string>();
}

std::string showChatter(const Json& chatter) {
    if (chatter.is_null()) return "off";
    return "every " + chatter.at("gap_us").dump() + " us: " + chatter.at("text").get<std::string>();
}

std::string showFaults(const Json& faults, const std::string& indent) {
    std::string text;
    for (const Json& fault : faults) text += indent + fault.get<std::string>() + "\n";
    return text;
}

std::string showState(const Json& state) {
    const Json& power = state.at("usb_power");
    return show("attached", state.at("attached").dump()) +
           show("usb power", power.is_null() ? "absent" : power.get<std::string>()) +
           show("screen", showScreen(state.at("screen"))) +
           show("sub display", showSubDisplay(state.at("sub_display"))) +
           show("accessory", showNeighbour(state.at("accessory"), {"type", "state"})) +
           show("lpwg", showNeighbour(state.at("lpwg"), {"result"})) +
           show("banner", showBanner(state.at("banner"))) +
           show("chatter", showChatter(state.at("chatter"))) + heading("cover") + "\n" +
           showMembers(state.at("cover"), "  ") + heading("properties") + "\n" +
           showMembers(state.at("properties"), "  ") + heading("faults") + "\n" +
           showFaults(state.at("faults"), "  ");
}

Json listFaults(Phone& phone) {
    return {{"faults", phone.faults.list()}};
}

Json listAll(Phone& phone) {
    return {{"properties", listProperties(phone)}};
}

Json readFile(Phone& phone, const Json& given) {
    const std::string path = given["path"];
    const std::optional<std::string> content = phone.files.get(path);
    if (!content) throw phone::Error("there is no file " + path);
    return {{"path", path}, {"bytes", cover::escape(*content)}};
}

Ability fault() {
    Argument words =
            placed("TEXT", "text", Type::Text, "The fault, as one argument or several words");
    words.isMany = true;
    return {"fault",
            "Set a fault; without arguments list those in force",
            {Request("POST", "/v1/faults",
                     [](Phone& phone, const Json& given) { phone.faults.set(given["text"]); },
                     {words}),
             Request("DELETE", "/v1/faults", [](Phone& phone) { phone.faults.clear(); }, {},
                     {"--clear", "Take all faults away"}),
             Request("GET", "/v1/faults", listFaults, {}, {},
                     [](const Json& answer) { return showFaults(answer.at("faults"), ""); })},
            "A fault is one of\n"
            "  on PREFIX EFFECT [times N]   commands that begin with PREFIX (*: all); EFFECT is\n"
            "     silent | late 2s | split 1ms | garble [all] | error | before \"TEXT\" |\n"
            "     after \"TEXT\" | inside \"TEXT\" | hangup [after N] | answer \"TEXT\" | half |\n"
            "     flood [N] | deaf\n"
            "  hid CALL EFFECT [after N] [times N]   calls of the panel's node; CALL is open | "
            "info |\n"
            "     config | write | *; EFFECT is error EIO | short 100 | late 2s | unplug\n"
            "  node PATH missing|unreadable|unwritable|eio|read-eio\n\n"
            "Examples:\n"
            "  bivista-emulator ctl fault 'on AT%SWV silent times 1'\n"
            "  bivista-emulator ctl fault 'hid write unplug after 1'\n"
            "  bivista-emulator ctl fault node /sys/class/bivista/bv2/bv2_recovery missing"};
}

Ability property() {
    return {"property",
            "Set a system property; without arguments list them all",
            {Request("PUT", "/v1/properties",
                     [](Phone& phone, const Json& given) {
                         phone.properties.set(given["key"], given["value"]);
                     },
                     {placed("KEY", "key", Type::Verbatim),
                      placed("VALUE", "value", Type::Verbatim)}),
             Request("DELETE", "/v1/properties", [](Phone& phone) { phone.properties.clear(); }, {},
                     {"--clear", "Take all properties away"}),
             Request("GET", "/v1/properties", listAll, {}, {},
                     [](const Json& answer) { return showMembers(answer.at("properties"), ""); })}};
}

Ability node() {
    const Argument path = placed("PATH", "path", Type::Text);
    return {"node",
            "Print a file of the phone, or give it the content TEXT",
            {Request("PUT", "/v1/node",
                     [](Phone& phone, const Json& given) {
                         phone.files.set(given["path"], given["bytes"]);
                     },
                     {path, placed("TEXT", "bytes", Type::Bytes, "May hold \\n, \\xHH, \\\\")}),
             Request("DELETE", "/v1/node",
                     [](Phone& phone, const Json& given) { phone.files.remove(given["path"]); },
                     {path}, {"--remove", "Remove the file"}),
             Request("GET", "/v1/node", readFile, {path}, {}, [](const Json& answer) {
                 return answer.at("bytes").get<std::string>() + "\n";
             })}};
}

}  // namespace

std::vector<Ability> ofPhone() {
    return {{"show",
             "Show what the cover is doing, and what its screens show",
             {Request("GET", "/v1/state", describeState, {}, {}, showState)}},
            fault(),
            property(),
            node(),
            {"wakelock",
             "The display's wake lock: on is a lit display",
             {Request("PUT", "/v1/wakelock",
                      [](Phone& phone, const Json& given) {
                          phone.files.setWakeLock(given["held"]);
                      },
                      {placed("STATE", "held", Type::Boolean)})}},
            {"reset",
             "Make the phone as it was at its start: no cover, no faults",
             {Request("POST", "/v1/reset", [](const Emulator& emulator, const Json&) {
                 emulator.phone.reset();
                 emulator.neighbours.reset();
             })}}};
}

}  // namespace control
