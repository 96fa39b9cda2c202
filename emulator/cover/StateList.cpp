// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The microcontroller's state as text, for people.
#include <string>

#include "emulator/cover/Microcontroller.h"
#include "emulator/cover/Text.h"

namespace cover {
namespace {

std::string yesNo(bool value) {
    return value ? "yes" : "no";
}

std::string onOff(bool value) {
    return value ? "on" : "off";
}

const char* nameOf(Power power) {
    switch (power) {
        case Power::Off:
            return "off";
        case Power::Running:
            return "running";
        case Power::Loader:
            return "loader";
    }
    return "";
}

std::string describe(const Upgrade& upgrade) {
    switch (upgrade.phase()) {
        case Upgrade::Phase::None:
            return "";
        case Upgrade::Phase::Planned:
            return "planned: " + escape(upgrade.version());
        case Upgrade::Phase::Writing:
            return "writing: " + escape(upgrade.version()) + ", " +
                   std::to_string(upgrade.percent()) + "%";
    }
    return "";
}

std::string join(const std::map<int32_t, int32_t>& values) {
    std::string text;
    for (const auto& [type, value] : values) {
        if (!text.empty()) text += ',';
        text += std::to_string(type) + '=' + std::to_string(value);
    }
    return text;
}

std::string idText(const UsbIdentity& usb) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const uint16_t id : {usb.vendor, usb.product}) {
        if (!text.empty()) text += ':';
        for (int shift = 12; shift >= 0; shift -= 4) text += kDigits[id >> shift & 0xf];
    }
    return text;
}

}  // namespace

std::vector<std::pair<std::string, std::string>> Microcontroller::listState() const {
    const State& s = state();
    const UsbIdentity usb = usbIdentity();
    return {
            {"power", nameOf(s.power)},
            {"usb", idText(usb)},
            {"product", escape(usb.productName)},
            {"serial", escape(usb.serial)},
            {"version", escape(options().version)},
            {"upgrade", describe(upgrade())},
            {"model", escape(s.model)},
            {"echo", onOff(s.echo)},
            {"dtr", yesNo(s.dtr)},
            {"deaf", yesNo(s.deaf)},
            {"log-save", std::to_string(s.logSave)},
            {"log-stream", onOff(s.streamsLog())},
            {"log-lines", std::to_string(s.logLines)},
            {"screen", onOff(s.screen.on)},
            {"hot-plugged", yesNo(s.screen.hotPlugged())},
            {"brightness", std::to_string(s.screen.brightness)},
            {"rgb", join(s.screen.rgb)},
            {"screen-tune", join(s.screen.tune)},
            {"screen-mode", std::to_string(s.screen.mode)},
            {"touch-performance", onOff(s.touch.performance)},
            {"aes-mode", s.touch.aesMode ? std::to_string(*s.touch.aesMode) : ""},
            {"lpwg", join(s.touch.lpwg)},
            {"update-state", join(s.touch.updateState)},
            {"touch-frames", std::to_string(s.touch.frames)},
            {"touch-resets", std::to_string(s.touch.resets)},
            {"touch-upgrades", std::to_string(s.touch.upgrades)},
            {"self-tests", std::to_string(s.touch.selfTests)},
            {"lpwg-self-tests", std::to_string(s.touch.lpwgSelfTests)},
            {"commands", std::to_string(s.commands)},
            {"refused", std::to_string(s.refused)},
            {"lost", std::to_string(s.lost)},
    };
}

}  // namespace cover
