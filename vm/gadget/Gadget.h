// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A USB device of the phone, played over USB/IP: what a kernel's vhci_hcd asks of it, and what it
// answers. Bytes in, bytes out; it makes no system call. One thread.
//
// It answers by itself what concerns USB: descriptors, configuration, line coding. What concerns
// the device behind it comes out as events, in the order of the wire.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "emulator/cover/Types.h"
#include "emulator/phone/backend/Device.h"

namespace gadget {

// SET_CONTROL_LINE_STATE; it is answered already.
struct LineState {
    bool dtr = false;
    bool rts = false;
};

// Bytes for the tty's device: a bulk OUT transfer.
struct Written {
    uint32_t id = 0;
    std::string bytes;
};

// A report: GET_REPORT, SET_REPORT, or an interrupt OUT transfer. Its `held` is not set.
struct Report {
    uint32_t id = 0;
    phone::HidRequest request;
};

// The kernel has taken this transfer back before it was completed.
struct TakenBack {
    uint32_t id = 0;
};

using Event = std::variant<LineState, Written, Report, TakenBack>;

class Gadget {
  public:
    // With a tty, a hidraw node, or neither (a loader): as the description has them.
    explicit Gadget(const phone::DeviceDescription& description);
    ~Gadget();
    Gadget(const Gadget&) = delete;
    Gadget& operator=(const Gadget&) = delete;

    // Bytes from vhci_hcd, in any pieces. Throws phone::Error when they are no USB/IP.
    void receive(std::string_view bytes);
    // Bytes for vhci_hcd; they are forgotten here.
    std::string takeOutput();
    std::vector<Event> takeEvents();

    // Ends a transfer of an event; an id that was taken back is ignored.
    void complete(uint32_t id, const phone::HidAnswer& answer);
    // Of Written: the device has taken all of it.
    void complete(uint32_t id);

    // From the tty's device to the phone. Waits until the kernel asks for it, which it does while
    // the tty is open.
    void send(std::string_view bytes);
    // Bytes of send() that the kernel has not fetched, and all that it has.
    size_t waiting() const;
    uint64_t fetched() const;
    // The kernel has allowed it to wake the bus, and asks for nothing: it may be suspended.
    bool mayWake() const;

  private:
    struct Parts;
    const std::unique_ptr<Parts> mParts;
};

}  // namespace gadget
