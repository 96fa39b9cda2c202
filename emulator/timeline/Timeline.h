// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The journal as people see it: its entries become items.
//
// The same entries give the same items, whatever the batches in which these are taken. One thread.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "emulator/timeline/Changes.h"
#include "emulator/timeline/Frames.h"
#include "emulator/timeline/Item.h"
#include "emulator/timeline/Serial.h"
#include "emulator/timeline/Upgrades.h"

namespace timeline {

class Timeline {
  public:
    Timeline() = default;
    Timeline(const Timeline&) = delete;
    Timeline& operator=(const Timeline&) = delete;

    // In the order of `seq`, some of which may be missing: what is open ends there. An entry that
    // was added already changes nothing. Of open items there are never more than some hundreds.
    void add(const phone::Entry& entry);

    // The items that are new or have changed since the last call, in the order of their ids. Those
    // that nobody takes are kept. An item that is not open any more never changes.
    std::vector<Item> take() { return mChanges.take(); }

    // Ends what is open, as after the emulator's end.
    void end();

    // Commands that the cover has received and has not answered yet.
    size_t waiting() const;

    // Whether a device that comes or goes is the cover or its loader, and no other.
    bool isOfCover(const phone::Entry& entry) const;

  private:
    // A phone has few of them; the emulator's numbers go to 255.
    static constexpr size_t kMostNodes = 16;

    template <typename Node>
    Node& at(std::map<std::string, Node>& nodes, const phone::Entry& entry);
    void takePart(const phone::Entry& entry);
    void attach(const phone::Entry& entry);
    void detach(const phone::Entry& entry);
    void strike(const phone::Entry& entry);
    void cutOffAll(const phone::Entry& entry);

    Changes mChanges;
    std::map<std::string, Serial> mTtys;        // by path
    std::map<std::string, Frames> mPanels;      // by path
    std::map<std::string, std::string> mOther;  // ttys that are not the cover's, by USB name
    Upgrades mUpgrades{mChanges};
    phone::Entry mLast;  // its number and its end alone
};

}  // namespace timeline
