// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the kernel wants of the device behind a gadget.
#pragma once

#include <cstdint>
#include <string>
#include <variant>

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

// GET_REPORT, SET_REPORT, or an interrupt OUT transfer. Its `held` is not set.
struct Report {
    uint32_t id = 0;
    phone::HidRequest request;
};

// The kernel has taken back a Written or a Report before it was completed.
struct TakenBack {
    uint32_t id = 0;
};

using Event = std::variant<LineState, Written, Report, TakenBack>;

}  // namespace gadget
