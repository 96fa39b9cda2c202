// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// An upgrade of the cover's firmware, from the moment the kernel plans it until it is written or
// given up.
#pragma once

#include <optional>
#include <string>

#include "emulator/timeline/Changes.h"

namespace timeline {

class Upgrades {
  public:
    explicit Upgrades(Changes& changes) : mChanges(&changes) {}

    void tell(const phone::Entry& entry);  // upgrade
    void attach(const phone::Entry& entry);
    void detach(const phone::Entry& entry);
    void cutOff(const phone::Entry& entry);

  private:
    void start(const phone::Entry& entry);
    void finish(const char* verdict, const phone::Entry& entry);

    Changes* mChanges;
    std::optional<Item> mItem;
    std::string mCover;  // the identity of what was attached before
    bool mIsInLoader = false;
};

}  // namespace timeline
