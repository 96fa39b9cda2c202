// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Which command or line begins which call.
#pragma once

#include <string_view>

namespace phonelog {

// A method that is one command to the cover.
struct Query {
    std::string_view command;
    std::string_view method;
    bool hasText = false;  // its result has the answer
};

inline constexpr Query kQueries[] = {
        {"AT%TCHDEBUG=FWVER", "getTouchFirmwareVersion", true},
        {"AT%TCHDEBUG=RESET", "DoTouchReset"},
        {"AT%TCHDEBUG=GPIO_PIN", "getGpiopin", true},
        {"AT%TCHDEBUG=RAWDATA", "DoRawdata"},
        {"AT%TCHDEBUG=DELTA", "DoDelta"},
        {"AT%TCHNOTIFY=FW_UPGRADE", "DoTouchFirmwareUpgrade"},
        {"AT%TCHNOTIFY=SD", "getSelfTest", true},
        {"AT%TCHNOTIFY=LPWG_SD", "getLPWGSelfTest", true},
        {"AT%TCHNOTIFY=PULL_SD_RESULT", "getTestResults"},
        {"AT%GODLOAD", "goDload"},
        {"AT%GOSTMDLOAD", "goSTMDload"},
        {"AT%GETBVCUTOUT", "getCoverDisplayCutout", true},
};

// Lines with which calls begin.
inline constexpr std::string_view kCallBegins[] = {
        "sendAtCommand: ",
        "getFirmwareFile: ",
        "Registering 1.",
        "Draw Sub DISPLAY ++",
        "setSubDisplayPowerState ++",
        "setSubDisplayBrightness ++",
        "setPowerStatus: bv2 not initialized",
        "set_touch_perf: bv2 not initialized",
        "setBVBrightnessOffset: bv2 not initialized",
        "request br_offset is ",
        "enalble br offset bypass",
        "readString : ",
        "getLogSaveAtCmd: ",
        "bv2_display_color_mode_send: at cmd path:",
        "Sub Display is not initialized yet",
};

}  // namespace phonelog
