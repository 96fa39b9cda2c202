// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/ui/Store.h"

#include <utility>

namespace ui {

namespace {

std::string event(const char* name, const std::string& data) {
    return std::string("event: ") + name + "\ndata: " + data + "\n\n";
}

}  // namespace

std::shared_ptr<void> Store::watch(std::function<void()> wake) {
    const android::AutoMutex lock(mLock);
    const uint64_t number = mNextWatch++;
    mWatches[number] = std::move(wake);
    return {this, [this, number](void*) {
                const android::AutoMutex again(mLock);
                mWatches.erase(number);
            }};
}

void Store::wakeAll() {
    for (const auto& [number, wake] : mWatches) wake();
}

void Store::begin(std::string hello) {
    const android::AutoMutex lock(mLock);
    ++mEmulator;
    mHello = std::move(hello);
    mMessage.clear();
    mItems.clear();
    mPuts.clear();
    mBytes = 0;
    mIsLoaded = false;
    mState = {};
    mSnapshot = {};
    wakeAll();
}

void Store::drop(std::map<uint64_t, Slot>::iterator slot) {
    mBytes -= slot->second.text.size();
    mPuts.erase(slot->second.id);
    mItems.erase(slot);
}

void Store::put(const std::vector<timeline::Item>& items) {
    const android::AutoMutex lock(mLock);
    for (const timeline::Item& item : items) {
        const auto old = mPuts.find(item.id);
        if (old != mPuts.end()) drop(mItems.find(old->second));
        std::string text = timeline::toJson(item);
        mBytes += text.size();
        mPuts[item.id] = mNextPut;
        mItems.emplace_hint(mItems.end(), mNextPut++, Slot{item.id, std::move(text)});
        while (mItems.size() > kMostItems || mBytes > kMostBytes) drop(mItems.begin());
    }
    if (!items.empty()) wakeAll();
}

void Store::setLoaded() {
    const android::AutoMutex lock(mLock);
    mIsLoaded = true;
    wakeAll();
}

void Store::setLatest(Latest Store::*latest, std::string text) {
    const android::AutoMutex lock(mLock);
    if ((this->*latest).text == text) return;
    this->*latest = {std::move(text), (this->*latest).version + 1};
    wakeAll();
}

void Store::setState(std::string state) {
    setLatest(&Store::mState, std::move(state));
}

void Store::setSnapshot(std::string snapshot) {
    setLatest(&Store::mSnapshot, std::move(snapshot));
}

void Store::end(std::string message) {
    const android::AutoMutex lock(mLock);
    mMessage = std::move(message);
    wakeAll();
}

std::string Store::takeItems(Cursor& cursor) const {
    std::string list;
    size_t count = 0;
    for (auto slot = mItems.upper_bound(cursor.item); slot != mItems.end() && count < kMostAtOnce;
         ++slot, ++count) {
        list += (list.empty() ? "" : ",") + slot->second.text;
        cursor.item = slot->first;
    }
    cursor.items += count;
    return count == 0 ? "" : event("items", "[" + list + "]");
}

std::string Store::take(Cursor& cursor) const {
    const android::AutoMutex lock(mLock);
    std::string text;
    if (cursor.emulator != mEmulator) {
        cursor = {.emulator = mEmulator};
        if (!mHello.empty()) text += event("hello", mHello);
    }
    if (std::exchange(cursor.state, mState.version) != mState.version) {
        text += event("state", mState.text);
    }
    if (std::exchange(cursor.snapshot, mSnapshot.version) != mSnapshot.version) {
        text += event("snapshot", mSnapshot.text);
    }
    const std::string items = takeItems(cursor);
    text += items;
    if (!items.empty()) return text;
    if (mIsLoaded && !std::exchange(cursor.isLoaded, true)) {
        text += event("loaded", "{\"items\":" + std::to_string(cursor.items) + "}");
    }
    if (!mMessage.empty() && !std::exchange(cursor.isEnded, true)) text += event("ended", mMessage);
    return text;
}

}  // namespace ui
