// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The pictures that pass through one hidraw node of the panel: the output reports up to that of
// length 0.
#pragma once

#include <optional>

#include "emulator/timeline/Changes.h"

namespace timeline {

class Frames {
  public:
    explicit Frames(Changes& changes) : mChanges(&changes) {}

    void write(const phone::Entry& entry);  // hid-write
    // Another entry of the node. Returns whether a fault struck it.
    bool pass(const phone::Entry& entry);
    void strike(const phone::Entry& entry);  // fault-met
    // The panel has gone. The report that was under way comes yet.
    void detach() { mHasGone = true; }
    void cutOff(const phone::Entry& entry);

  private:
    void take(const phone::Entry& entry);
    void finish(const char* verdict, const phone::Entry& entry);

    Changes* mChanges;
    std::optional<Item> mFrame;
    size_t mPixels = 0;  // bytes of them
    size_t mReports = 0;
    bool mHasGone = false;
    bool mIsStruck = false;  // the next call is
};

}  // namespace timeline
