// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/program/JournalPages.h"

#include <algorithm>
#include <utility>

#include "emulator/phone/control/Ability.h"

namespace emulator {

std::optional<Json> JournalPages::next(bool waits) {
    Json values = {{"since", mSince}};
    if (waits) values["wait_ms"] = control::kMostWaitMs;
    std::optional<Json> page = mSession.ask("GET", "/v1/journal", values);
    if (!page) return std::nullopt;
    Json& entries = page->at("entries");
    const auto next = page->at("next").get<uint64_t>();
    const bool isList = entries.is_array() &&
                        std::ranges::all_of(entries, [](const Json& e) { return e.is_object(); });
    // Without progress, ctl would ask for the same page for ever.
    if (!isList || (!entries.empty() && next <= mSince)) throw ForeignAnswer();
    mSince = next;
    return std::move(entries);
}

phone::Entry entryOf(const Json& object) {
    std::optional<phone::Entry> entry = phone::fromJson(object);
    if (!entry) throw ForeignAnswer();
    return *std::move(entry);
}

}  // namespace emulator
