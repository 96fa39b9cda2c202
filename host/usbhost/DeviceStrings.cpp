// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "DeviceStrings.h"

#include <android-base/unique_fd.h>
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/usb/ch9.h>
#include <linux/usbdevice_fs.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace usbhost {
namespace {

using android::base::unique_fd;

constexpr size_t kDescriptorHeader = 2;
constexpr size_t kMaxDescriptor = 255;

uint16_t littleEndianAt(const uint8_t* bytes) {
    return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}

// The size of a valid string descriptor, whose bytes hold their own count; 0 when it is not one.
size_t stringDescriptorSize(const uint8_t* descriptor, size_t received) {
    if (received < kDescriptorHeader || descriptor[1] != USB_DT_STRING) return 0;
    size_t size = std::min<size_t>(descriptor[0], received);
    return size < kDescriptorHeader ? 0 : size;
}

void appendUtf8(std::string* text, uint32_t point) {
    if (point < 0x80) {
        text->push_back(static_cast<char>(point));
        return;
    }
    if (point < 0x800) {
        text->push_back(static_cast<char>(0xc0 | point >> 6));
    } else if (point < 0x10000) {
        text->push_back(static_cast<char>(0xe0 | point >> 12));
        text->push_back(static_cast<char>(0x80 | (point >> 6 & 0x3f)));
    } else {
        text->push_back(static_cast<char>(0xf0 | point >> 18));
        text->push_back(static_cast<char>(0x80 | (point >> 12 & 0x3f)));
        text->push_back(static_cast<char>(0x80 | (point >> 6 & 0x3f)));
    }
    text->push_back(static_cast<char>(0x80 | (point & 0x3f)));
}

// The bytes of the string descriptor; empty when the device does not give it.
std::vector<uint8_t> fetch(const ControlTransfer& transfer, uint8_t index, uint16_t language,
                           uint32_t timeout) {
    std::vector<uint8_t> descriptor(kMaxDescriptor);
    usbdevfs_ctrltransfer request = {};
    request.bRequestType = USB_DIR_IN | USB_TYPE_STANDARD | USB_RECIP_DEVICE;
    request.bRequest = USB_REQ_GET_DESCRIPTOR;
    request.wValue = static_cast<uint16_t>(USB_DT_STRING << 8 | index);
    request.wIndex = language;
    request.wLength = static_cast<uint16_t>(descriptor.size());
    request.timeout = timeout;
    request.data = descriptor.data();
    int received = transfer(&request);
    size_t count = received < 0 ? 0 : std::min<size_t>(received, descriptor.size());
    descriptor.resize(stringDescriptorSize(descriptor.data(), count));
    return descriptor;
}

std::optional<unsigned> parseNumber(std::string_view text) {
    unsigned number = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

// A sysfs file's text up to its newline, as far as one page, which is all that sysfs ever holds.
std::string readAttribute(const std::string& path) {
    unique_fd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (fd < 0) return {};
    char page[4096];
    ssize_t count = TEMP_FAILURE_RETRY(read(fd.get(), page, sizeof(page)));
    if (count <= 0) return {};
    std::string_view text(page, static_cast<size_t>(count));
    text = text.substr(0, text.find('\0'));
    return std::string(text.substr(0, text.find_last_not_of('\n') + 1));
}

struct Address {
    unsigned bus;
    unsigned device;
};

std::optional<Address> addressOf(std::string_view node) {
    size_t beforeDevice = node.rfind('/');
    if (beforeDevice == std::string_view::npos || beforeDevice == 0) return std::nullopt;
    size_t beforeBus = node.rfind('/', beforeDevice - 1);
    if (beforeBus == std::string_view::npos) return std::nullopt;
    auto bus = parseNumber(node.substr(beforeBus + 1, beforeDevice - beforeBus - 1));
    auto device = parseNumber(node.substr(beforeDevice + 1));
    if (!bus || !device) return std::nullopt;
    return Address{*bus, *device};
}

bool isAt(const std::string& folder, const Address& address) {
    return parseNumber(readAttribute(folder + "/busnum")) == address.bus &&
           parseNumber(readAttribute(folder + "/devnum")) == address.device;
}

}  // namespace

std::string decodeStringDescriptor(const uint8_t* descriptor, size_t size) {
    size = stringDescriptorSize(descriptor, size);
    std::string text;
    for (size_t at = kDescriptorHeader; at + 1 < size; at += 2) {
        uint32_t unit = littleEndianAt(descriptor + at);
        if (unit == 0) break;
        bool isHigh = unit >= 0xd800 && unit < 0xdc00;
        uint32_t next = isHigh && at + 3 < size ? littleEndianAt(descriptor + at + 2) : 0;
        if (isHigh && next >= 0xdc00 && next < 0xe000) {
            unit = 0x10000 + ((unit - 0xd800) << 10) + (next - 0xdc00);
            at += 2;
        } else if (unit >= 0xd800 && unit < 0xe000) {
            unit = 0xfffd;
        }
        appendUtf8(&text, unit);
    }
    return text;
}

std::string stringOverUsb(const ControlTransfer& transfer, uint8_t index, uint32_t timeout) {
    // Index 0 means that there is no such string; as a request it asks for the languages.
    if (index == 0) return {};
    const std::vector<uint8_t> languages = fetch(transfer, 0, 0, timeout);
    for (size_t at = kDescriptorHeader; at + 1 < languages.size(); at += 2) {
        auto descriptor = fetch(transfer, index, littleEndianAt(&languages[at]), timeout);
        std::string text = decodeStringDescriptor(descriptor.data(), descriptor.size());
        if (!text.empty()) return text;
    }
    return {};
}

std::string stringInSysfs(const std::string& devices, const std::string& node, const char* file) {
    auto address = addressOf(node);
    if (!address) return {};
    std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(devices.c_str()), closedir);
    while (dir) {
        const dirent* entry = readdir(dir.get());
        if (entry == nullptr) break;
        if (entry->d_name[0] == '.') continue;
        const std::string folder = devices + "/" + entry->d_name;
        if (isAt(folder, *address)) return readAttribute(folder + "/" + file);
    }
    return {};
}

}  // namespace usbhost
