// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/world/UsbDevice.h"

#include <cstdio>

#include "emulator/phone/world/Files.h"

namespace phone {

namespace fs = std::filesystem;

namespace {

constexpr char kController[] = "/sys/devices/platform/soc/usb1";
constexpr char kManufacturer[] = "QMX";

std::string format(const char* pattern, int value) {
    char text[64];
    snprintf(text, sizeof(text), pattern, value);
    return text;
}

// USB 2.0 device descriptor.
std::string makeDescriptor(const cover::UsbIdentity& identity) {
    const auto low = [](uint16_t value) { return static_cast<char>(value & 0xFF); };
    const auto high = [](uint16_t value) { return static_cast<char>(value >> 8); };
    const char hasProduct = identity.productName.empty() ? 0 : 2;
    const char hasSerial = identity.serial.empty() ? 0 : 3;
    const char bytes[] = {
            18,  // bLength
            1,   // bDescriptorType: device
            0x00,
            0x02,  // bcdUSB
            '\xEF',
            2,
            1,                       // class, subclass, protocol: by interface association
            64,                      // bMaxPacketSize0
            low(identity.vendor),    // idVendor
            high(identity.vendor),   //
            low(identity.product),   // idProduct
            high(identity.product),  //
            0x00,
            0x02,        // bcdDevice
            1,           // iManufacturer
            hasProduct,  // iProduct
            hasSerial,   // iSerialNumber
            1,           // bNumConfigurations
    };
    return {bytes, sizeof(bytes)};
}

}  // namespace

UsbDevice::UsbDevice(int port, int number, const DeviceDescription& description)
    : mPort(port),
      mNumber(number),
      mDescription(description),
      mName("1-" + std::to_string(port)),
      mFolder(fs::path(kController) / mName),
      mNode("/dev/bus/usb/001/" + format("%03d", number)) {
    const cover::UsbIdentity& identity = description.identity;
    putFile(mFolder / "idVendor",
            description.vendorText.value_or(format("%04x\n", identity.vendor)));
    putFile(mFolder / "idProduct",
            description.productText.value_or(format("%04x\n", identity.product)));
    putFile(mFolder / "busnum", "1\n");
    putFile(mFolder / "devnum", std::to_string(number) + "\n");
    putFile(mFolder / "manufacturer", std::string(kManufacturer) + "\n");
    if (!identity.productName.empty()) putFile(mFolder / "product", identity.productName + "\n");
    if (!identity.serial.empty()) putFile(mFolder / "serial", identity.serial + "\n");
    // The kernel suspends a device only after somebody has written "auto".
    putFile(mFolder / "power/control", "on\n");
}

UsbDevice::~UsbDevice() {
    // Nothing may leave a destructor; a tree that was made read-only stays where it is.
    std::error_code ignored;
    if (mPublished) fs::remove(mNode, ignored);
    for (auto link = mLinks.rbegin(); link != mLinks.rend(); ++link) fs::remove(*link, ignored);
    fs::remove_all(mFolder, ignored);
}

void UsbDevice::addClassLink(const fs::path& link, const fs::path& target) {
    putLink(link, target.lexically_relative(link.parent_path()));
    mLinks.push_back(link);
}

void UsbDevice::addTty(int number) {
    const std::string name = "ttyACM" + std::to_string(number);
    const fs::path interface = mFolder / (mName + ":1.0");
    putLink(interface / "tty" / name / "device", "../../../" + mName + ":1.0");
    addClassLink(fs::path("/sys/class/tty") / name, interface / "tty" / name);
}

void UsbDevice::addHidraw(int number) {
    const std::string name = "hidraw" + std::to_string(number);
    char id[32];
    const cover::UsbIdentity& identity = mDescription.identity;
    snprintf(id, sizeof(id), "0003:%04X:%04X.%04X", identity.vendor, identity.product, mNumber);
    const fs::path hid = mFolder / (mName + ":1.2") / id;
    putLink(hid / "hidraw" / name / "device", std::string("../../../") + id);
    addClassLink(fs::path("/sys/class/hidraw") / name, hid / "hidraw" / name);
}

void UsbDevice::publish() {
    if (mDescription.tty) addTty(*mDescription.tty);
    if (mDescription.hidraw) addHidraw(*mDescription.hidraw);
    if (!mDescription.onBus) return;
    addClassLink(fs::path("/sys/bus/usb/devices") / mName, mFolder);
    linkFile(mNode, makeDescriptor(mDescription.identity));
    mPublished = true;
}

}  // namespace phone
