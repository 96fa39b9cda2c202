// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/timeline/Changes.h"

#include <utility>

namespace timeline {

std::vector<Item> Changes::take() {
    std::vector<Item> items;
    items.reserve(mItems.size());
    for (auto& [id, item] : mItems) items.push_back(std::move(item));
    mItems.clear();
    return items;
}

}  // namespace timeline
