// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// USB/IP as it is on the wire: numbers are big-endian, a command is a header of 48 bytes and, of a
// transfer to the device, its data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace gadget {

// The longest transfer that is taken. The kernel's drivers stay far below.
inline constexpr uint32_t kLongestTransfer = 1 << 20;

// What a control transfer asks for.
struct Setup {
    uint8_t type = 0;
    uint8_t request = 0;
    uint16_t value = 0;
    uint16_t index = 0;
    uint16_t length = 0;
};

struct Submit {
    uint32_t id = 0;
    uint8_t endpoint = 0;  // with USB_DIR_IN
    uint32_t length = 0;   // of the kernel's buffer
    Setup setup;           // of endpoint 0
    std::string data;      // of a transfer to the device: all of the buffer
};

struct Unlink {
    uint32_t id = 0;
    uint32_t victim = 0;
};

using Command = std::variant<Submit, Unlink>;

// Commands out of bytes that come in any pieces.
class CommandReader {
  public:
    void add(std::string_view bytes) { mBytes += bytes; }
    // The next one, when it is there as a whole. Throws phone::Error when the bytes are no USB/IP,
    // or a transfer is too long.
    std::optional<Command> next();

  private:
    std::string mBytes;
};

// `status`: 0 or an errno as its negative number. `passed`: bytes that went either way; `data` are
// those that go to the kernel.
std::string toSubmitAnswer(uint32_t id, int status, size_t passed, std::string_view data);
std::string toUnlinkAnswer(uint32_t id, int status);

}  // namespace gadget
