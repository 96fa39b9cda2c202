// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/timeline/Item.h"

#include <algorithm>
#include <array>

#include <nlohmann/json.hpp>

namespace timeline {

using phone::Kind;

namespace {

int64_t us(std::chrono::nanoseconds time) {
    return std::chrono::duration_cast<std::chrono::microseconds>(time).count();
}

// Where a fault struck: a tty, the panel's node, or a file.
Lane laneOfPath(const std::string& path) {
    if (path.starts_with("/dev/tty")) return Lane::At;
    return path.starts_with("/dev/hidraw") ? Lane::Panel : Lane::Nodes;
}

}  // namespace

std::string_view name(Lane lane) {
    constexpr std::array<std::string_view, std::size(kLanes)> kNames = {
            "at", "panel", "nodes", "uevents", "usb", "calls", "emulator"};
    return kNames[static_cast<size_t>(lane)];
}

Lane laneOf(const phone::Entry& entry) {
    switch (entry.kind) {
        case Kind::TtyOpen:
        case Kind::Dtr:
        case Kind::TtyRx:
        case Kind::TtyLost:
        case Kind::TtyTx:
            return Lane::At;
        case Kind::HidOpen:
        case Kind::HidGet:
        case Kind::HidSet:
        case Kind::HidWrite:
        case Kind::HidClose:
            return Lane::Panel;
        case Kind::NodeOpen:
        case Kind::NodeWrite:
        case Kind::NodeClose:
        case Kind::NodeRefused:
        case Kind::NodeSet:
        case Kind::KernelLog:
            return Lane::Nodes;
        case Kind::Uevent:
            return Lane::Uevents;
        case Kind::Attach:
        case Kind::Detach:
        case Kind::Upgrade:
        case Kind::UsbPower:
            return Lane::Usb;
        case Kind::HidlCall:
        case Kind::ClientCall:
        case Kind::ClientCallback:
            return Lane::Calls;
        case Kind::FaultMet:
            return laneOfPath(entry.path);
        case Kind::Property:
        case Kind::Fault:
        case Kind::Mark:
        case Kind::Control:
        case Kind::Signal:
            break;
    }
    return Lane::Emulator;
}

bool isBackground(std::string_view kind) {
    constexpr std::string_view kKinds[] = {"node-open", "node-close", "tty-open",
                                           "dtr",       "hid-open",   "hid-close"};
    return std::ranges::find(kKinds, kind) != std::end(kKinds);
}

Item begin(const phone::Entry& entry) {
    Item item;
    item.id = item.last = entry.seq;
    item.lane = laneOf(entry);
    item.beginUs = us(entry.time);
    item.durationUs = us(entry.duration.value_or(std::chrono::nanoseconds(0)));
    item.wallUs = us(entry.wall);
    return item;
}

std::chrono::nanoseconds endOf(const phone::Entry& entry) {
    return entry.time + entry.duration.value_or(std::chrono::nanoseconds(0));
}

void extend(Item& item, const phone::Entry& entry) {
    item.last = entry.seq;
    item.durationUs = std::max(item.durationUs, us(endOf(entry)) - item.beginUs);
}

void close(Item& item, const char* verdict, std::chrono::nanoseconds time) {
    item.durationUs = std::max(item.durationUs, us(time) - item.beginUs);
    item.verdict = verdict;
    item.open = false;
}

std::string toJson(const Item& item) {
    return nlohmann::json{item.id,
                          item.last,
                          name(item.lane),
                          item.kind,
                          item.beginUs,
                          item.durationUs,
                          item.wallUs,
                          item.title,
                          item.detail,
                          item.verdict,
                          int{item.faulty} + 2 * int{item.open}}
            .dump();
}

}  // namespace timeline
