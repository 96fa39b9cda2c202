// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the pages show: the items of the timeline and the phone's state, kept once for all pages.
// Each page takes what it lacks, at its own speed.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <utils/Mutex.h>

#include "emulator/timeline/Item.h"

namespace ui {

// How far a page is.
struct Cursor {
    uint64_t emulator = 0;
    uint64_t item = 0;
    uint64_t items = 0;
    uint64_t state = 0;
    uint64_t snapshot = 0;
    bool isLoaded = false;
    bool isEnded = false;
};

// The oldest items are dropped beyond kMostItems or kMostBytes. Any thread.
class Store {
  public:
    static constexpr size_t kMostItems = 200'000;
    static constexpr size_t kMostBytes = 64 << 20;
    // Of one event of the stream.
    static constexpr size_t kMostAtOnce = 5000;

    // `wake` is called after every change, also by other threads, as long as the result is kept. It
    // must not call the store.
    std::shared_ptr<void> watch(std::function<void()> wake) EXCLUDES(mLock);

    // Another emulator: forgets all that the last one did. `hello` and others are JSON texts.
    void begin(std::string hello) EXCLUDES(mLock);
    // New items, and new states of items that are kept.
    void put(const std::vector<timeline::Item>& items) EXCLUDES(mLock);
    // All that the emulator had kept is put.
    void setLoaded() EXCLUDES(mLock);
    void setState(std::string state) EXCLUDES(mLock);
    void setSnapshot(std::string snapshot) EXCLUDES(mLock);
    // The emulator ended, or there is none.
    void end(std::string message) EXCLUDES(mLock);

    // The next events of the stream that a page lacks, as text/event-stream; empty when it lacks
    // nothing.
    std::string take(Cursor& cursor) const EXCLUDES(mLock);

  private:
    struct Slot {
        uint64_t id;
        std::string text;
    };
    // A text, and how often it changed.
    struct Latest {
        std::string text;
        uint64_t version = 0;
    };

    void drop(std::map<uint64_t, Slot>::iterator slot) REQUIRES(mLock);
    void setLatest(Latest Store::*latest, std::string text) EXCLUDES(mLock);
    void wakeAll() REQUIRES(mLock);
    std::string takeItems(Cursor& cursor) const REQUIRES(mLock);

    mutable android::Mutex mLock;
    std::map<uint64_t, std::function<void()>> mWatches GUARDED_BY(mLock);
    uint64_t mNextWatch GUARDED_BY(mLock) = 0;
    uint64_t mEmulator GUARDED_BY(mLock) = 1;
    std::string mHello GUARDED_BY(mLock);    // empty: there has been no emulator yet
    std::string mMessage GUARDED_BY(mLock);  // empty: the emulator is there
    // By the number of the put: an item that changed stands at the end again.
    std::map<uint64_t, Slot> mItems GUARDED_BY(mLock);
    std::unordered_map<uint64_t, uint64_t> mPuts GUARDED_BY(mLock);  // by item
    uint64_t mNextPut GUARDED_BY(mLock) = 1;
    size_t mBytes GUARDED_BY(mLock) = 0;
    bool mIsLoaded GUARDED_BY(mLock) = false;
    Latest mState GUARDED_BY(mLock);
    Latest mSnapshot GUARDED_BY(mLock);
};

}  // namespace ui
