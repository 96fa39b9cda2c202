// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Transfers that wait: for the device behind the gadget, for bytes of the tty's device, or for
// ever.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>

namespace gadget {

struct Transfer {
    enum class Wait {
        Device,  // an event asks the device
        Bytes,   // bulk IN
        ForEver  // interrupt IN
    };
    uint32_t id = 0;
    Wait wait = Wait::ForEver;
    bool isIn = false;
    uint32_t length = 0;  // of the kernel's buffer
    // The device counts that many bytes in front which are not on the wire: the report number 0.
    size_t unsent = 0;
};

class Transfers {
  public:
    // Throws phone::Error when one of this id waits already.
    void add(const Transfer& transfer);
    // It waits no longer. Nothing when none of this id waits.
    std::optional<Transfer> take(uint32_t id);

    bool hasForBytes() const { return !mForBytes.empty(); }
    // The one that has waited longest for bytes.
    Transfer takeForBytes();

  private:
    std::map<uint32_t, Transfer> mWaiting;
    std::deque<uint32_t> mForBytes;  // ids, oldest first
};

}  // namespace gadget
