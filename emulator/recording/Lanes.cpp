// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/recording/Recording.h"

namespace recording {

using phone::Entry;
using phone::Kind;

namespace {

// Some threads of the service take turns at a device in an order that nothing promises. What each
// does is known by its kind or its text, so that it has a lane of its own.

// The brightness thread follows a queue, and all other commands come at their own times.
std::string laneOfCommand(const std::string& command) {
    return command.starts_with("AT%DB=") ? "tty brightness" : "tty";
}

// Frames are drawn by one thread, power and brightness of the panel set by others. All open the
// node for each transfer, so that an open tells nothing by itself unless it fails.
std::string laneOfPanel(const Entry& entry) {
    switch (entry.kind) {
        case Kind::HidWrite:
            return "hidraw frames";
        case Kind::HidOpen:
            return entry.note.find(' ') == std::string::npos ? "" : "hidraw opens";
        case Kind::HidClose:
            return "";
        default:
            return "hidraw";
    }
}

// The framework of the emulated phone hears of what a client's callback has too.
bool isOfFramework(const Entry& entry) {
    return entry.path.starts_with("IBivistaLpwgCallback.");
}

}  // namespace

std::string laneOf(const Entry& entry) {
    switch (entry.kind) {
        case Kind::TtyRx:
            return laneOfCommand(entry.bytes);
        case Kind::TtyOpen:
            return "tty-open " + entry.path;
        case Kind::NodeOpen:
        case Kind::NodeWrite:
        case Kind::NodeClose:
        case Kind::NodeRefused:
            return "node " + entry.path;
        case Kind::HidOpen:
        case Kind::HidGet:
        case Kind::HidSet:
        case Kind::HidWrite:
        case Kind::HidClose:
            return laneOfPanel(entry);
        case Kind::HidlCall:
            return isOfFramework(entry) ? "" : "neighbour " + entry.path;
        case Kind::ClientCall:
            // Without a path it tells of calls that are missing.
            return entry.path.empty() ? "" : "call";
        case Kind::ClientCallback:
            return entry.path.empty() ? "" : "callback " + entry.path;
        case Kind::KernelLog:
            return "klog";
        default:
            return "";
    }
}

bool isStimulus(const Entry& entry) {
    switch (entry.kind) {
        case Kind::Attach:
        case Kind::Detach:
        case Kind::NodeSet:
        case Kind::Property:
        case Kind::Signal:
        case Kind::Uevent:
            return true;
        case Kind::ClientCall:
            return !entry.path.empty();
        case Kind::Control:
            // The neighbours' states and the cover's settings have no entries of their own. A
            // refused request changed nothing.
            return entry.note.empty() && (entry.path.find("/v1/accessory") != std::string::npos ||
                                          entry.path.find("/v1/lpwg") != std::string::npos ||
                                          entry.path == "PUT /v1/cover");
        default:
            return false;
    }
}

}  // namespace recording
