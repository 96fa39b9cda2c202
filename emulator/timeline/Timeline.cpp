// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/timeline/Timeline.h"

#include <utility>

#include <nlohmann/json.hpp>

#include "emulator/cover/Text.h"

namespace timeline {

void Timeline::add(const phone::Entry& entry) {
    using std::chrono::duration_cast;
    using std::chrono::microseconds;
    Item item;
    item.id = item.last = entry.seq;
    item.kind = phone::name(entry.kind);
    item.beginUs = duration_cast<microseconds>(entry.time).count();
    item.wallUs = duration_cast<microseconds>(entry.wall).count();
    item.title = cover::escape(entry.bytes);
    item.detail = cover::escape(entry.note);
    mItems.push_back(std::move(item));
}

std::vector<Item> Timeline::take() {
    return std::exchange(mItems, {});
}

std::string toJson(const Item& item) {
    return nlohmann::json{item.id,
                          item.last,
                          "emulator",
                          item.kind,
                          item.beginUs,
                          item.durationUs,
                          item.wallUs,
                          item.title,
                          item.detail,
                          item.verdict,
                          0}
            .dump();
}

}  // namespace timeline
