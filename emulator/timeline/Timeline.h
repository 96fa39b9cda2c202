// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The journal as people see it: an exchange, a frame, an event is one item.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "emulator/phone/Entry.h"

namespace timeline {

enum class Lane { At, Panel, Nodes, Uevents, Usb, Calls, Emulator };

struct Item {
    uint64_t id = 0;
    uint64_t last = 0;
    Lane lane = Lane::Emulator;
    std::string kind;
    int64_t beginUs = 0, durationUs = 0;
    int64_t wallUs = 0;
    std::string title;
    std::string detail;
    std::string verdict;
    bool faulty = false;
    bool open = false;
};

class Timeline {
  public:
    void add(const phone::Entry& entry);
    std::vector<Item> take();
    void end() {}

  private:
    std::vector<Item> mItems;
};

std::string toJson(const Item& item);

}  // namespace timeline
