// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "vm/backend/Description.h"

#include <charconv>
#include <string>

#include "emulator/phone/Error.h"

namespace vm {

namespace {

constexpr size_t kDigits = 4;

// An id as sysfs shows it: "3e91" and a line end.
uint16_t parseId(const std::string& text) {
    uint16_t id = 0;
    const char* const end = text.data() + kDigits;
    const bool isLong = text.size() == kDigits + 1 && text.back() == '\n';
    if (!isLong || std::from_chars(text.data(), end, id, 16).ptr != end) {
        throw phone::Error("a real kernel writes the id files itself: an id has four digits");
    }
    return id;
}

}  // namespace

phone::DeviceDescription onKernelBus(const phone::DeviceDescription& description) {
    const bool hasTexts = description.vendorText || description.productText;
    if (description.onBus && !hasTexts) return description;
    if (description.onBus) {
        throw phone::Error(
                "a real kernel writes the id files itself: a cover's texts cannot be chosen");
    }
    const bool isForeignTty = description.vendorText && description.productText &&
                              description.tty && !description.hidraw;
    if (!isForeignTty) throw phone::Error("on a real kernel every device is on the USB bus");
    phone::DeviceDescription device = description;
    device.identity.vendor = parseId(*description.vendorText);
    device.identity.product = parseId(*description.productText);
    device.vendorText.reset();
    device.productText.reset();
    device.onBus = true;
    return device;
}

}  // namespace vm
