// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/replay/DeviceText.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "emulator/cover/Text.h"

namespace replay {

namespace {

using phone::Entry;
using phone::Kind;
using recording::Json;

constexpr std::string_view kTty = "/dev/ttyACM";
constexpr std::string_view kHidraw = "/dev/hidraw";

std::optional<int> numberOf(std::string_view path, std::string_view prefix) {
    int number = 0;
    if (!path.starts_with(prefix)) return std::nullopt;
    path.remove_prefix(prefix.size());
    const auto [end, error] = std::from_chars(path.data(), path.data() + path.size(), number);
    if (error != std::errc() || end != path.data() + path.size()) return std::nullopt;
    return number;
}

// "3e91:6a2f TQC330R 0001": the last word is the serial number.
std::optional<cover::UsbIdentity> parseIdentity(std::string_view note) {
    constexpr size_t kIds = 9;
    cover::UsbIdentity identity;
    if (note.size() < kIds || note[4] != ':') return std::nullopt;
    const auto parse = [&](size_t at, uint16_t* id) {
        return std::from_chars(&note[at], &note[at] + 4, *id, 16).ptr == &note[at] + 4;
    };
    if (!parse(0, &identity.vendor) || !parse(5, &identity.product)) return std::nullopt;
    note.remove_prefix(std::min(kIds + 1, note.size()));
    const size_t space = note.rfind(' ');
    if (space != std::string_view::npos) identity.serial = note.substr(space + 1);
    identity.productName = note.substr(0, space);
    return identity;
}

// Of version 1: what its software did with it tells the numbers of its nodes.
void infer(std::span<const Entry> later, const Entry& attach, phone::DeviceDescription* device) {
    for (const Entry& entry : later) {
        const bool isOfBus = entry.kind == Kind::Attach || entry.kind == Kind::Detach;
        if (isOfBus && entry.path == attach.path) break;
        if (const auto tty = numberOf(entry.path, kTty); tty && !device->tty) device->tty = tty;
        if (const auto hid = numberOf(entry.path, kHidraw); hid && !device->hidraw) {
            device->hidraw = hid;
        }
    }
    if (!device->tty) device->tty = 0;
    if (!device->hidraw) device->hidraw = 0;
}

std::optional<std::string> textOf(const Json& members, const char* name) {
    const auto member = members.find(name);
    if (member == members.end() || !member->is_string()) return std::nullopt;
    return cover::unescape(member->get<std::string>());
}

std::optional<int> numberOf(const Json& members, const char* name) {
    const auto member = members.find(name);
    if (member == members.end() || !member->is_number_integer()) return std::nullopt;
    return member->get<int>();
}

void take(const Json& members, phone::DeviceDescription* device) {
    device->tty = numberOf(members, "tty");
    device->hidraw = numberOf(members, "hid");
    device->vendorText = textOf(members, "idVendor");
    device->productText = textOf(members, "idProduct");
    const auto usb = members.find("usb");
    device->onBus = usb == members.end() || *usb != false;
    if (auto product = textOf(members, "product")) device->identity.productName = *product;
    if (auto serial = textOf(members, "serial")) device->identity.serial = *serial;
}

// The loader's serial numbers, and so the devices without nodes.
bool isLoader(const cover::UsbIdentity& identity) {
    return identity.serial == "00000000001A" || identity.serial == "00000000001B";
}

}  // namespace

DeviceScript describeDevice(const Entry& attach, std::span<const Entry> later) {
    DeviceScript device = {.attach = &attach};
    phone::DeviceDescription& description = device.description;
    const std::optional<cover::UsbIdentity> identity = parseIdentity(attach.note);
    if (identity) description.identity = *identity;
    const Json members = Json::parse(attach.bytes, nullptr, false);
    if (members.is_object()) {
        take(members, &description);
    } else if (const auto foreign = numberOf(attach.note, kTty)) {
        description.tty = foreign;
        description.onBus = false;
        description.vendorText = "1d6b\n";
        description.productText = "0104\n";
    } else if (!isLoader(description.identity)) {
        infer(later, attach, &description);
    }
    device.isCover = identity && (description.tty || description.hidraw);
    return device;
}

}  // namespace replay
