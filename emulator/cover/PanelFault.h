// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// One fault of the panel's hidraw node, and the one-line language in which it is written.
//
//   fault  = "hid" CALL effect [ "after" COUNT ] [ "times" COUNT ]
//   CALL   = "open" | "info"    feature report 2 is read
//          | "config"           feature report 3 is written
//          | "write"            an output report is written
//          | "*"                any of them
//   effect = "error" NAME       it fails with this error, for example EIO
//          | "short" N          only the first N bytes pass, and the result says so (not of "open")
//          | "late" DURATION    it takes that much longer
//          | "unplug"           the cover is pulled off meanwhile: a report fails with ESHUTDOWN,
//                               an open with ENODEV
//
// "after" lets so many calls pass unharmed first; without "times" a fault stays until it is taken
// away.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "emulator/cover/Types.h"

namespace cover {

enum class PanelCall { Any, Open, Info, Config, Write };

struct PanelFault {
    enum class Effect { Error, Short, Late, Unplug };
    PanelCall call = PanelCall::Any;
    Effect effect = Effect::Error;
    int error = 0;                  // Error: an errno value
    uint64_t bytes = 0;             // Short
    Time time{};                    // Late
    uint64_t after = 0;             // calls that still pass
    std::optional<uint64_t> times;  // calls it is still good for, 1 or more; none: no end
    uint64_t met = 0;               // calls that it has struck; no part of its text

    bool operator==(const PanelFault&) const = default;
};

// As in the language: "open".
std::string_view name(PanelCall call);

// Whether the line is meant for the panel.
bool isPanelFault(std::string_view line);

struct ParsedPanelFault {
    std::optional<PanelFault> fault;
    std::string error;  // when there is no fault: what is wrong and what to write instead
};

ParsedPanelFault parsePanelFault(std::string_view line);

// parsePanelFault(toText(f)).fault is f, for every f that parsePanelFault gave.
std::string toText(const PanelFault& fault);

}  // namespace cover
