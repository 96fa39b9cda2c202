// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What goes in and out of the cover model: time, identities, options, state and actions.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace cover {

// A moment on the caller's monotonic clock, counted from any origin that the caller keeps to.
// The model never reads a clock: it only compares and adds what it was given.
using Time = std::chrono::nanoseconds;

// How the cover shows on the USB bus.
struct UsbIdentity {
    uint16_t vendor = 0;
    uint16_t product = 0;
    std::string productName;
    std::string serial;

    bool operator==(const UsbIdentity&) const = default;
};

// How the touch panel's firmware prints a frame: one line a row, five characters a value.
struct TouchSize {
    int rows = 24;
    int columns = 32;

    bool operator==(const TouchSize&) const = default;
};

// The kind of cover to play. A new value takes effect with the next command; the delays with the
// next departure, and that of an upgrade with the next one.
struct Options {
    // "AT%SWV": the text before its first "-" is the hardware line, the text before its first "_"
    // the version key that firmware images are compared with.
    std::string version = "BV330-V10k_20210312";
    // "AT%GETBVCUTOUT": an outline in the form of a display cutout path.
    std::string cutout = "M 0,0 H -36 V 60 H 36 V 0 H 0 Z";
    // "AT%TCHDEBUG=FWVER".
    std::string touchVersion = "TP330-V1.07";
    // Of the frames of "AT%TCHDEBUG=RAWDATA" and "=DELTA".
    TouchSize touchSize;
    // How long "AT%TCHNOTIFY=FW_UPGRADE" takes, and each of the self tests, until it is answered.
    Time touchUpgradeTime = std::chrono::milliseconds(300);
    Time selfTestTime = std::chrono::milliseconds(200);
    // "AT%TCHNOTIFY=PULL_SD_RESULT" is filled up to so many bytes, a line end counted as one. What
    // is longer by itself stays so.
    size_t selfTestReportSize = 0;

    // A line that it says of its own accord when it is attached (the caller sends it); empty: none.
    // With one, its firmware is still busy then, and answers the first command so much later.
    std::string banner;
    Time bannerTime = std::chrono::milliseconds(30);

    UsbIdentity usb = {0x3E91, 0x6A2F, "TQC330R", "BV33021030001"};
    uint16_t loaderVendor = 0x0483;
    uint16_t loaderProduct = 0xDF11;

    // How many "AT%HPD" after "AT%BV=1" are answered "Off" before the panel is up, 0 or more; none:
    // it never comes up. Takes effect with the next "AT%BV=1".
    std::optional<int> hotPlugPolls = 2;
    // What "AT%HPD" is answered when the panel is up.
    std::string hotPlugAnswer = "On";
    // From the end of the answer to "AT%GODLOAD" or "AT%GOSTMDLOAD" to the departure.
    Time loaderDelay = std::chrono::milliseconds(100);
    // From startUpgrade() to the departure for the loader.
    Time upgradeDelay = std::chrono::milliseconds(500);
    // How long the loader writes the firmware of an upgrade.
    Time upgradeTime = std::chrono::seconds(2);
    // From recover() to the departure.
    Time recoveryDelay = std::chrono::milliseconds(100);
};

enum class Power {
    Off,      // not plugged, or between leaving the bus and powerUp()
    Running,  // the firmware answers AT commands
    Loader,   // the DFU loader: no tty
};

// Why the cover sits in its loader; the host knows each by the serial number.
enum class LoaderEntry {
    OnRequest,  // sent there by a command: serial "00000000001A"
    Error,      // no bootable firmware: serial "00000000001B"
};

// What the cover logs of its own accord: lines `text` and a number, one after the other.
struct Chatter {
    std::string text =
            "mcu: dp link up, lane 0 swing 1 pre 0; touch idle; hub port 2 enabled; vbus 5023 mV";
    Time gap{};  // from one line to the next; 0: as fast as the phone takes them

    bool operator==(const Chatter&) const = default;
};

struct ScreenState {
    bool on = false;
    // The panel is up when the screen is on and this is 0; none: never.
    std::optional<int> hotPlugPollsLeft = 0;
    int brightness = 0;  // 0..255
    std::array<int32_t, 4> rgb = {2, 0, 0, 0};
    std::array<int32_t, 3> tune = {2, 2, 2};
    int32_t mode = 0;

    bool hotPlugged() const { return on && hotPlugPollsLeft == 0; }
    bool operator==(const ScreenState&) const = default;
};

struct TouchState {
    bool performance = false;
    std::optional<uint32_t> aesMode;   // none until "AT%TCHNOTIFY=SWTICH_AES,"
    std::map<int32_t, int32_t> lpwg;   // the last value of each type, at most 64 types
    std::vector<int32_t> updateState;  // the numbers of the last "AT%TCHUPDATE="
    uint32_t frames = 0;               // raw and delta frames taken
    uint32_t resets = 0;
    uint32_t upgrades = 0;
    uint32_t selfTests = 0;
    uint32_t lpwgSelfTests = 0;

    bool operator==(const TouchState&) const = default;
};

// All that the microcontroller remembers; power-up brings it back to these initial values.
struct State {
    Power power = Power::Off;
    bool echo = true;
    bool dtr = false;
    bool deaf = false;  // takes no byte of the phone's, which a fault has caused
    std::string model;  // "AT%MODEL=", empty until set
    int logSave = 3;    // "AT%LOGSAVE=", 0..3; 3 is off
    ScreenState screen;
    TouchState touch;
    uint64_t commands = 0;  // taken up since power-up, empty lines not counted
    uint64_t refused = 0;   // of these, answered "ERROR" by the firmware itself
    uint64_t lost = 0;      // lines dropped because too many were waiting
    uint64_t logLines = 0;  // of the cover's own log, sent

    // Whether the cover's own log goes over the serial line.
    bool streamsLog() const { return dtr && (logSave == 0 || logSave == 2); }

    bool operator==(const State&) const = default;
};

// What the surroundings must now do, in the order given.
struct Action {
    enum class Kind {
        // Write `bytes` (never empty) to the phone in one piece.
        Send,
        // The tty vanishes in mid-answer, as when the cover is pulled off. It stays away until it
        // is attached again, with powerUp().
        HangUp,
        // The device leaves the bus, tty and all, and comes back as `identity`. At its return call
        // powerUp() when that is the cover's own, powerUpInLoader() when it is the loader's, which
        // has no tty.
        Reenumerate,
        // So many `percent` of an upgrade's firmware are written: 0 at the begin, 100 at the end.
        Progress,
    };
    Kind kind = Kind::Send;
    std::string bytes;
    UsbIdentity identity;
    int percent = 0;

    bool operator==(const Action&) const = default;
};

}  // namespace cover
