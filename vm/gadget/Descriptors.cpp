// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "vm/gadget/Descriptors.h"

#include <algorithm>
#include <initializer_list>

#include <linux/hid.h>
#include <linux/usb/cdc.h>
#include <linux/usb/ch9.h>

#include "emulator/phone/Error.h"

namespace gadget {
namespace {

constexpr char kManufacturer[] = "QMX";
enum StringIndex { kLanguages, kManufacturerIndex, kProductIndex, kSerialIndex };

// A string descriptor has 255 bytes at most: two in front, and two a character.
constexpr size_t kLongestText = 126;

constexpr int kBulkSize = 512;
constexpr int kNotificationSize = 16;
constexpr int kReportInSize = 64;
constexpr int kReportOutSize = 1024;

std::string makeBytes(std::initializer_list<int> bytes) {
    std::string made;
    for (const int byte : bytes) made += static_cast<char>(byte);
    return made;
}

int low(size_t number) {
    return static_cast<int>(number & 0xFF);
}

int high(size_t number) {
    return static_cast<int>(number >> 8 & 0xFF);
}

// Sizes leave out a report's number.
std::string makeReports() {
    return makeBytes({
            0x06, 0x00, 0xFF,  // usage page: vendor-defined
            0x09, 0x01,        // usage 1
            0xA1, 0x01,        // collection: application
            0x15, 0x00,        // logical minimum 0
            0x26, 0xFF, 0x00,  // logical maximum 255
            0x75, 0x08,        // report size: 8 bits
            0x85, 0x02,        // report 2
            0x09, 0x02,        // usage 2
            0x95, 0x06,        // 6 of them
            0xB1, 0x02,        // feature: the panel's size and format
            0x09, 0x03,        // usage 3
            0x96, 0xFF, 0x0F,  // 4095 of them
            0x91, 0x02,        // output: pixels
            0x85, 0x03,        // report 3
            0x09, 0x04,        // usage 4
            0x95, 0x02,        // 2 of them
            0xB1, 0x02,        // feature: on or off, brightness
            0xC0,              // end of the collection
    });
}

std::string makeInterface(int number, int endpoints, int interfaceClass, int subclass,
                          int protocol) {
    return makeBytes({USB_DT_INTERFACE_SIZE, USB_DT_INTERFACE, number, 0, endpoints, interfaceClass,
                      subclass, protocol, 0});
}

std::string makeEndpoint(int address, int kind, int size, int interval) {
    return makeBytes({USB_DT_ENDPOINT_SIZE, USB_DT_ENDPOINT, address, kind, low(size), high(size),
                      interval});
}

std::string makeTty() {
    constexpr int kNoCalls = 0;
    constexpr int kLineRequests = 2;  // line coding and line state
    return makeBytes({USB_DT_INTERFACE_ASSOCIATION_SIZE, USB_DT_INTERFACE_ASSOCIATION, 0, 2,
                      USB_CLASS_COMM, USB_CDC_SUBCLASS_ACM, USB_CDC_ACM_PROTO_AT_V25TER, 0}) +
           makeInterface(0, 1, USB_CLASS_COMM, USB_CDC_SUBCLASS_ACM, USB_CDC_ACM_PROTO_AT_V25TER) +
           makeBytes({5, USB_DT_CS_INTERFACE, USB_CDC_HEADER_TYPE, 0x10, 0x01}) +
           makeBytes({5, USB_DT_CS_INTERFACE, USB_CDC_CALL_MANAGEMENT_TYPE, kNoCalls, 1}) +
           makeBytes({4, USB_DT_CS_INTERFACE, USB_CDC_ACM_TYPE, kLineRequests}) +
           makeBytes({5, USB_DT_CS_INTERFACE, USB_CDC_UNION_TYPE, 0, 1}) +
           makeEndpoint(kTtyNotification, USB_ENDPOINT_XFER_INT, kNotificationSize, 8) +
           makeInterface(1, 2, USB_CLASS_CDC_DATA, 0, 0) +
           makeEndpoint(kTtyOut, USB_ENDPOINT_XFER_BULK, kBulkSize, 0) +
           makeEndpoint(kTtyIn, USB_ENDPOINT_XFER_BULK, kBulkSize, 0);
}

std::string makeHidDescriptor() {
    const size_t size = makeReports().size();
    return makeBytes({9, HID_DT_HID, 0x11, 0x01, 0, 1, HID_DT_REPORT, low(size), high(size)});
}

std::string makeHid(int number) {
    return makeInterface(number, 2, USB_CLASS_HID, 0, 0) + makeHidDescriptor() +
           makeEndpoint(kReportIn, USB_ENDPOINT_XFER_INT, kReportInSize, 8) +
           makeEndpoint(kReportOut, USB_ENDPOINT_XFER_INT, kReportOutSize, 1);
}

std::string makeLoader() {
    constexpr int kDfu = 1;
    constexpr int kDfuMode = 2;
    constexpr int kDfuFunctional = 0x21;
    constexpr int kDownUpWillDetach = 0x0B;
    return makeInterface(0, 0, USB_CLASS_APP_SPEC, kDfu, kDfuMode) +
           makeBytes({9, kDfuFunctional, kDownUpWillDetach, 0xFF, 0, 0x00, 0x08, 0x1A, 0x01});
}

// As UTF-16, which ASCII is with a zero after each character.
std::string makeString(const std::string& text) {
    std::string made = makeBytes({low(2 + 2 * text.size()), USB_DT_STRING});
    for (const char character : text) made.append({character, '\0'});
    return made;
}

void checkText(const std::string& text) {
    const bool isPrintable = std::all_of(text.begin(), text.end(), [](char character) {
        return character >= ' ' && character <= '~';
    });
    if (isPrintable && text.size() <= kLongestText) return;
    throw phone::Error("a text of a USB device has " + std::to_string(kLongestText) +
                       " printable ASCII characters at most");
}

}  // namespace

Descriptors::Descriptors(const phone::DeviceDescription& description)
    : mHasTty(description.tty), mHasHid(description.hidraw), mIdentity(description.identity) {
    checkText(mIdentity.productName);
    checkText(mIdentity.serial);
}

std::optional<std::string> Descriptors::find(uint8_t type, uint8_t index) const {
    if (type == USB_DT_STRING) return string(index);
    if (index != 0) return std::nullopt;
    if (type == USB_DT_DEVICE) return device();
    if (type == USB_DT_CONFIG) return configuration();
    if (mHasHid && type == HID_DT_HID) return makeHidDescriptor();
    if (mHasHid && type == HID_DT_REPORT) return makeReports();
    return std::nullopt;
}

bool Descriptors::hasEndpoint(uint8_t address) const {
    if (address == kReportIn || address == kReportOut) return mHasHid;
    return mHasTty && (address == kTtyIn || address == kTtyOut || address == kTtyNotification);
}

int Descriptors::interfaceCount() const {
    if (!mHasTty && !mHasHid) return 1;
    return (mHasTty ? 2 : 0) + (mHasHid ? 1 : 0);
}

std::optional<int> Descriptors::ttyInterface() const {
    return mHasTty ? std::optional(0) : std::nullopt;
}

std::optional<int> Descriptors::hidInterface() const {
    return mHasHid ? std::optional(mHasTty ? 2 : 0) : std::nullopt;
}

std::string Descriptors::device() const {
    return makeBytes({
            USB_DT_DEVICE_SIZE, USB_DT_DEVICE, 0x00,
            0x02,  // USB 2.0
            USB_CLASS_MISC, 2,
            1,   // its functions are associations of interfaces
            64,  // bytes a packet of endpoint 0
            low(mIdentity.vendor), high(mIdentity.vendor), low(mIdentity.product),
            high(mIdentity.product), 0x00,
            0x02,  // release 2.0
            kManufacturerIndex, mIdentity.productName.empty() ? 0 : kProductIndex,
            mIdentity.serial.empty() ? 0 : kSerialIndex,
            1,  // configurations
    });
}

std::string Descriptors::configuration() const {
    std::string functions;
    if (mHasTty) functions += makeTty();
    if (mHasHid) functions += makeHid(*hidInterface());
    if (functions.empty()) functions = makeLoader();
    const size_t size = USB_DT_CONFIG_SIZE + functions.size();
    constexpr int kAttributes =
            USB_CONFIG_ATT_ONE | USB_CONFIG_ATT_SELFPOWER | USB_CONFIG_ATT_WAKEUP;
    constexpr int kHundredMilliamperes = 50;
    return makeBytes({USB_DT_CONFIG_SIZE, USB_DT_CONFIG, low(size), high(size), interfaceCount(), 1,
                      0, kAttributes, kHundredMilliamperes}) +
           functions;
}

std::optional<std::string> Descriptors::string(uint8_t index) const {
    if (index == kLanguages) return makeBytes({4, USB_DT_STRING, 0x09, 0x04});
    if (index == kManufacturerIndex) return makeString(kManufacturer);
    if (index == kProductIndex && !mIdentity.productName.empty()) {
        return makeString(mIdentity.productName);
    }
    if (index == kSerialIndex && !mIdentity.serial.empty()) return makeString(mIdentity.serial);
    return std::nullopt;
}

}  // namespace gadget
