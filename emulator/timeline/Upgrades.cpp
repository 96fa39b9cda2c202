// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/timeline/Upgrades.h"

#include "emulator/timeline/Spelling.h"

namespace timeline {

namespace {

constexpr std::string_view kRefused = "refused: ";

bool isPercent(std::string_view note) {
    return note.ends_with('%');
}

}  // namespace

void Upgrades::start(const phone::Entry& entry) {
    cutOff(entry);
    mItem = begin(entry);
    mItem->kind = "upgrade";
    mItem->title = spell(entry.path.empty() ? "upgrade" : entry.path);
    mItem->open = true;
    mIsInLoader = false;
}

void Upgrades::tell(const phone::Entry& entry) {
    const std::string_view note = entry.note;
    if (note.starts_with(kRefused)) {
        Item item = begin(entry);
        item.kind = "upgrade";
        item.title = spell(entry.path.empty() ? "upgrade" : entry.path);
        item.detail = spell(note.substr(kRefused.size()));
        item.verdict = "refused";
        mChanges->put(item);
        return;
    }
    // The journal may have dropped its beginning.
    if (!mItem || note == "started") start(entry);
    extend(*mItem, entry);
    mItem->detail = spell(note);
    mIsInLoader = mIsInLoader || isPercent(note);
    if (note == "100%") return finish("written", entry);
    if (note == "cancelled") return finish("cancelled", entry);
    mChanges->put(*mItem);
}

// What comes after the start is the loader, or the same cover again, which has no plan any more.
void Upgrades::attach(const phone::Entry& entry) {
    if (!mItem) {
        mCover = entry.note;
    } else if (!mIsInLoader && entry.note == mCover) {
        cutOff(entry);
    } else {
        mIsInLoader = true;
    }
}

void Upgrades::detach(const phone::Entry& entry) {
    if (mIsInLoader || entry.path.empty()) cutOff(entry);
}

void Upgrades::finish(const char* verdict, const phone::Entry& entry) {
    close(*mItem, verdict, entry.time);
    mChanges->put(*mItem);
    mItem.reset();
}

void Upgrades::cutOff(const phone::Entry& entry) {
    if (mItem) finish("cut off", entry);
    mIsInLoader = false;
}

}  // namespace timeline
