#include "emulator/phone/UsbDevice.h"

#include <cstdio>

#include "emulator/phone/Files.h"

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

std::string UsbDevice::idText(uint16_t id) {
    return format("%04x\n", id);
}

std::string UsbDevice::describe(const cover::UsbIdentity& identity) {
    std::string text =
            idText(identity.vendor).substr(0, 4) + ":" + idText(identity.product).substr(0, 4);
    if (!identity.productName.empty()) text += " " + identity.productName;
    if (!identity.serial.empty()) text += " " + identity.serial;
    return text;
}

UsbDevice::UsbDevice(int port, int number, const cover::UsbIdentity& identity)
    : mPort(port),
      mNumber(number),
      mIdentity(identity),
      mName("1-" + std::to_string(port)),
      mFolder(fs::path(kController) / mName),
      mNode("/dev/bus/usb/001/" + format("%03d", number)) {
    setIds(idText(identity.vendor), idText(identity.product));
    putFile(mFolder / "busnum", "1\n");
    putFile(mFolder / "devnum", std::to_string(number) + "\n");
    putFile(mFolder / "manufacturer", std::string(kManufacturer) + "\n");
    if (!identity.productName.empty()) putFile(mFolder / "product", identity.productName + "\n");
    if (!identity.serial.empty()) putFile(mFolder / "serial", identity.serial + "\n");
    putFile(mFolder / "power/control", "auto\n");
}

UsbDevice::~UsbDevice() {
    // Nothing may leave a destructor; a tree that somebody made read-only stays where it is.
    std::error_code ignored;
    if (mPublished) fs::remove(mNode, ignored);
    for (auto link = mLinks.rbegin(); link != mLinks.rend(); ++link) fs::remove(*link, ignored);
    fs::remove_all(mFolder, ignored);
}

void UsbDevice::setIds(const std::string& vendorText, const std::string& productText) {
    putFile(mFolder / "idVendor", vendorText);
    putFile(mFolder / "idProduct", productText);
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
    snprintf(id, sizeof(id), "0003:%04X:%04X.%04X", mIdentity.vendor, mIdentity.product, mNumber);
    const fs::path hid = mFolder / (mName + ":1.2") / id;
    putLink(hid / "hidraw" / name / "device", std::string("../../../") + id);
    addClassLink(fs::path("/sys/class/hidraw") / name, hid / "hidraw" / name);
}

void UsbDevice::publish() {
    addClassLink(fs::path("/sys/bus/usb/devices") / mName, mFolder);
    linkFile(mNode, makeDescriptor(mIdentity));
    mPublished = true;
}

}  // namespace phone
