// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The state of the phone and its neighbours.

#include <chrono>

#include "emulator/cover/ScreenView.h"
#include "emulator/cover/Text.h"
#include "emulator/phone/control/Ability.h"
#include "emulator/phone/control/StateText.h"
#include "emulator/phone/control/abilities/Shown.h"

namespace control {

using phone::Phone;

namespace {

Json describeScreen(const cover::ScreenView& view) {
    if (!view.on) return {{"on", false}};
    const cover::Colour colour = cover::colourOf(view);
    return {{"on", true},
            {"colour", {colour.red, colour.green, colour.blue}},
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

Json describeUpgrade(const Phone& phone) {
    const cover::Upgrade upgrade = phone.cover.upgrade();
    if (upgrade.phase() == cover::Upgrade::Phase::None) return nullptr;
    const bool isPlanned = upgrade.phase() == cover::Upgrade::Phase::Planned;
    return {{"phase", isPlanned ? "planned" : "writing"},
            {"version", cover::escape(upgrade.version())},
            {"percent", upgrade.percent()}};
}

Json describeLoader(const Phone& phone) {
    const std::optional<phone::LoaderState> loader = phone.loader.state();
    if (!loader) return nullptr;
    return {{"error", loader->isError},
            {"cover", loader->isCover},
            {"product", cover::escape(loader->identity.productName)},
            {"serial", cover::escape(loader->identity.serial)}};
}

Json describePhone(const Phone& phone) {
    Json cover = Json::object();
    for (const auto& [name, value] : phone.cover.listState()) cover[name] = value;
    const std::optional<std::string> power = phone.usbPower.status();
    const cover::Options options = phone.cover.options();
    Json state = {{"attached", phone.cover.isAttached()},
                  {"usb_power", power ? Json(*power) : Json()},
                  {"loader", describeLoader(phone)},
                  {"upgrade", describeUpgrade(phone)},
                  {"wakelock", phone.files.isWakeLockHeld()},
                  {"screen", describeScreen(cover::viewOf(phone.cover.state()))},
                  {"cutout", cover::escape(options.cutout)},
                  {"sub_display", describeSubDisplay(phone)},
                  {"cover", cover},
                  {"banner", cover::escape(options.banner)},
                  {"chatter", describeChatter(phone)},
                  {"firmware", describeFirmware(phone)},
                  {"properties", describeProperties(phone)}};
    state.update(describeFaults(phone));
    return state;
}

Json describeState(const Emulator& emulator, const Json& /*given*/) {
    const auto accessory = [](const neighbours::Accessory& service) -> Json {
        const neighbours::AccessoryState state = service.state();
        return {{"type", state.type}, {"state", state.state}};
    };
    const auto lpwg = [](const neighbours::Lpwg& service) -> Json {
        return {{"result", service.result()}};
    };
    Json state = emulator.phone.atOnce([&] { return describePhone(emulator.phone); });
    state["accessory"] = describeNeighbour(emulator.neighbours.accessory, +accessory);
    state["lpwg"] = describeNeighbour(emulator.neighbours.lpwg, +lpwg);
    return state;
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

std::string showFirmware(const Json& files) {
    std::string names;
    for (const Json& file : files) {
        names += (names.empty() ? "" : ", ") + file.at("name").get<std::string>();
    }
    return names.empty() ? "none" : names;
}

std::string showState(const Json& state) {
    const Json& power = state.at("usb_power");
    return show("attached", state.at("attached").dump()) +
           show("usb power", power.is_null() ? "absent" : power.get<std::string>()) +
           show("loader", showLoader(state.at("loader"))) +
           show("wake lock", state.at("wakelock").get<bool>() ? "held" : "released") +
           show("screen", cover::toText(screenOf(state.at("screen")))) +
           show("cutout", state.at("cutout").get<std::string>()) +
           show("sub display", showSubDisplay(state.at("sub_display"))) +
           show("accessory", showNeighbour(state.at("accessory"), {"type", "state"})) +
           show("lpwg", showNeighbour(state.at("lpwg"), {"result"})) +
           show("firmware", showFirmware(state.at("firmware"))) +
           show("banner", showBanner(state.at("banner"))) +
           show("chatter", showChatter(state.at("chatter"))) + heading("cover") + "\n" +
           showMembers(state.at("cover"), "  ") + heading("properties") + "\n" +
           showMembers(state.at("properties"), "  ") + heading("faults") + "\n" +
           showFaults(state, "  ", true);
}

}  // namespace

cover::ScreenView screenOf(const Json& screen) {
    cover::ScreenView view;
    view.on = screen.at("on").get<bool>();
    if (view.on) {
        screen.at("brightness").get_to(view.brightness);
        screen.at("rgb").get_to(view.rgb);
        screen.at("tune").get_to(view.tune);
        screen.at("mode").get_to(view.mode);
    }
    return view;
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

std::string showLoader(const Json& loader) {
    if (loader.is_null()) return "absent";
    return std::string(loader.at("error").get<bool>() ? "in error" : "ready") + ", serial " +
           loader.at("serial").get<std::string>();
}

Ability showing() {
    return {"show",
            "Show what the cover is doing, and what its screens show",
            {Request("GET", "/v1/state", describeState, {}, {}, showState)}};
}

}  // namespace control
