// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a gadget says of itself: one configuration, with the functions that its description names.
//
//   tty       interfaces 0 and 1: CDC-ACM
//   hidraw    the next interface: vendor-defined HID
//   neither   interface 0: a loader's DFU
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "emulator/phone/backend/Device.h"

namespace gadget {

// Addresses of endpoints. The two notification endpoints never have anything to say.
inline constexpr uint8_t kTtyOut = 0x01;
inline constexpr uint8_t kTtyIn = 0x81;
inline constexpr uint8_t kTtyNotification = 0x82;
inline constexpr uint8_t kReportOut = 0x03;
inline constexpr uint8_t kReportIn = 0x83;

class Descriptors {
  public:
    // Throws phone::Error when a text fits into no string descriptor.
    explicit Descriptors(const phone::DeviceDescription& description);

    // As GET_DESCRIPTOR asks for it.
    std::optional<std::string> find(uint8_t type, uint8_t index) const;
    bool hasEndpoint(uint8_t address) const;

    int interfaceCount() const;
    // Of the interface that takes line coding and line state.
    std::optional<int> ttyInterface() const;
    std::optional<int> hidInterface() const;

  private:
    std::string device() const;
    std::string configuration() const;
    std::optional<std::string> string(uint8_t index) const;

    const bool mHasTty;
    const bool mHasHid;
    const cover::UsbIdentity mIdentity;
};

}  // namespace gadget
