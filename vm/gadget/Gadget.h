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
#include <vector>

#include "emulator/phone/backend/Device.h"
#include "vm/gadget/Event.h"

namespace gadget {

class Gadget {
  public:
    // With a tty, a hidraw node, or neither (a loader): as the description has them. Throws
    // phone::Error when a text of its identity is too long or not ASCII.
    explicit Gadget(const phone::DeviceDescription& description);
    ~Gadget();
    Gadget(const Gadget&) = delete;
    Gadget& operator=(const Gadget&) = delete;

    // Bytes from vhci_hcd, in any pieces. Throws phone::Error when they are no USB/IP; the wire is
    // of no use then.
    void receive(std::string_view bytes);
    // Bytes for vhci_hcd; they are forgotten here.
    std::string takeOutput();
    std::vector<Event> takeEvents();

    // Ends the transfer of a Report; an id that was taken back or completed is ignored. The answer
    // is final: its `askAgainAfter` is not looked at.
    void complete(uint32_t id, const phone::HidAnswer& answer);
    // Of Written: the device has taken all of it.
    void complete(uint32_t id);

    // From the tty's device to the phone. Waits until the kernel asks for it, which it does while
    // the tty is open.
    void send(std::string_view bytes);
    // Bytes of send() that the kernel has not fetched, and all that it has.
    size_t waiting() const;
    uint64_t fetched() const;
    // Bytes wait, and the kernel asks for none, but has allowed the device to wake the bus: it may
    // be suspended.
    bool mayWake() const;

  private:
    struct Parts;
    const std::unique_ptr<Parts> mParts;
};

}  // namespace gadget
