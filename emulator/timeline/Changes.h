// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The items that are new or have changed since somebody took them.
#pragma once

#include <map>
#include <vector>

#include "emulator/timeline/Item.h"

namespace timeline {

class Changes {
  public:
    void put(const Item& item) { mItems[item.id] = item; }
    // Each once, as it is now, in the order of their ids.
    std::vector<Item> take();

  private:
    std::map<uint64_t, Item> mItems;
};

}  // namespace timeline
