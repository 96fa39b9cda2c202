// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/recording/Recording.h"

namespace recording {

using phone::Entry;
using phone::Kind;

std::string laneOf(const Entry& entry) {
    switch (entry.kind) {
        case Kind::TtyRx:
            return "tty";
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
            return "hidraw";
        case Kind::HidlCall:
            return "neighbour " + entry.path;
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
        case Kind::Uevent:
            return true;
        case Kind::ClientCall:
            return !entry.path.empty();
        case Kind::Control:
            // The neighbours' states have no entries of their own. A refused one changed nothing.
            return entry.note.empty() && (entry.path.find("/v1/accessory") != std::string::npos ||
                                          entry.path.find("/v1/lpwg") != std::string::npos);
        default:
            return false;
    }
}

}  // namespace recording
