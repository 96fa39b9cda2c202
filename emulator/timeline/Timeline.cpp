// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/timeline/Timeline.h"

#include <algorithm>

#include "emulator/timeline/Event.h"

namespace timeline {

using phone::Entry;
using phone::Kind;

namespace {

// The entry that the request causes has the same words. A refused request causes none.
bool isToldByEffect(const Entry& request) {
    const std::string& path = request.path;
    return request.note.empty() &&
           (path.ends_with(" /v1/faults") || path.ends_with(" /v1/properties"));
}

}  // namespace

template <typename Node>
Node& Timeline::at(std::map<std::string, Node>& nodes, const Entry& entry) {
    const auto found = nodes.find(entry.path);
    if (found != nodes.end()) return found->second;
    if (nodes.size() == kMostNodes) {
        nodes.begin()->second.cutOff(entry);
        nodes.erase(nodes.begin());
    }
    return nodes.emplace(entry.path, Node(mChanges)).first->second;
}

void Timeline::add(const Entry& entry) {
    if (entry.seq <= mLast.seq) return;
    if (mLast.seq != 0 && entry.seq != mLast.seq + 1) cutOffAll(entry);
    mLast.seq = entry.seq;
    mLast.time = std::max(mLast.time, endOf(entry));
    takePart(entry);
}

void Timeline::takePart(const Entry& entry) {
    bool isFaulty = false;
    switch (entry.kind) {
        case Kind::TtyRx:
            return at(mTtys, entry).receive(entry);
        case Kind::TtyTx:
            return at(mTtys, entry).send(entry);
        case Kind::HidWrite:
            return at(mPanels, entry).write(entry);
        case Kind::Upgrade:
            return mUpgrades.tell(entry);
        case Kind::HidOpen:
        case Kind::HidClose:
        case Kind::HidGet:
        case Kind::HidSet:
            isFaulty = at(mPanels, entry).pass(entry);
            break;
        case Kind::Attach:
            attach(entry);
            break;
        case Kind::Detach:
            detach(entry);
            break;
        case Kind::FaultMet:
            strike(entry);
            break;
        case Kind::Control:
            if (isToldByEffect(entry)) return;
            break;
        default:
            break;
    }
    Item item = describe(entry);
    item.faulty = isFaulty;
    mChanges.put(item);
}

void Timeline::attach(const Entry& entry) {
    // A tty that is not the cover's is named in the place of an identity.
    if (entry.note.starts_with("/dev/")) {
        if (mOther.size() == kMostNodes) mOther.erase(mOther.begin());
        mOther[entry.path] = entry.note;
        return;
    }
    mOther.erase(entry.path);
    for (auto& [path, panel] : mPanels) panel.cutOff(entry);
    mUpgrades.attach(entry);
}

void Timeline::detach(const Entry& entry) {
    if (const auto other = mOther.find(entry.path); other != mOther.end()) {
        if (const auto tty = mTtys.find(other->second); tty != mTtys.end()) {
            tty->second.cutOff(entry);
        }
        mOther.erase(other);
        return;
    }
    using Named = decltype(mOther)::value_type;
    for (auto& [path, tty] : mTtys) {
        const bool isOther = std::ranges::find(mOther, path, &Named::second) != mOther.end();
        if (!isOther) tty.cutOff(entry);
    }
    for (auto& [path, panel] : mPanels) panel.detach();
    mUpgrades.detach(entry);
}

void Timeline::strike(const Entry& entry) {
    const Lane lane = laneOf(entry);
    if (lane == Lane::At) at(mTtys, entry).strike(entry);
    if (lane == Lane::Panel) at(mPanels, entry).strike(entry);
}

void Timeline::cutOffAll(const Entry& entry) {
    for (auto& [path, tty] : mTtys) tty.cutOff(entry);
    for (auto& [path, panel] : mPanels) panel.cutOff(entry);
    mUpgrades.cutOff(entry);
}

void Timeline::end() {
    cutOffAll(mLast);
}

bool Timeline::isOfCover(const Entry& entry) const {
    return !mOther.contains(entry.path);
}

size_t Timeline::waiting() const {
    size_t count = 0;
    for (const auto& [path, tty] : mTtys) count += tty.waiting();
    return count;
}

}  // namespace timeline
