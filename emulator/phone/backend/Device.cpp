// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/backend/Device.h"

#include <nlohmann/json.hpp>

#include "emulator/cover/Text.h"

namespace phone {

std::string toJson(const DeviceDescription& description) {
    nlohmann::ordered_json json = nlohmann::ordered_json::object();
    if (description.tty) json["tty"] = *description.tty;
    if (description.hidraw) json["hid"] = *description.hidraw;
    json["usb"] = description.onBus;
    const auto addText = [&json](const char* member, const std::string& text) {
        json[member] = cover::escape(text);
    };
    if (description.vendorText) addText("idVendor", *description.vendorText);
    if (description.productText) addText("idProduct", *description.productText);
    const cover::UsbIdentity& identity = description.identity;
    if (!identity.productName.empty()) addText("product", identity.productName);
    if (!identity.serial.empty()) addText("serial", identity.serial);
    return json.dump();
}

}  // namespace phone
