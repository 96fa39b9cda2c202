// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Fills the store from the emulator's journal while at least one page is open. Without a page it
// asks the emulator nothing.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <android-base/unique_fd.h>
#include <utils/Mutex.h>

#include "emulator/timeline/Timeline.h"
#include "emulator/ui/Emulator.h"
#include "emulator/ui/FolderWatch.h"
#include "emulator/ui/Store.h"

namespace ui {

class Feed {
  public:
    // Throws phone::Error when the folder cannot be watched. Emulator and store must outlive it.
    Feed(const Emulator& emulator, Store& store);

    // A page is open as long as the result is kept. Any thread.
    std::shared_ptr<void> open() EXCLUDES(mLock);

    // Follows the emulators of the folder, one after the other. Never returns.
    [[noreturn]] void run() EXCLUDES(mLock);

  private:
    // What is known of the emulator that is followed.
    struct Followed {
        explicit Followed(const Emulator::Identity& emulator) : identity(emulator) {}

        const Emulator::Identity identity;
        uint64_t next = 1;  // entry
        bool isLoaded = false;
        timeline::Timeline timeline{};
    };

    void close() EXCLUDES(mLock);
    bool isWanted() const EXCLUDES(mLock);
    // The same, and the client has not been cancelled meanwhile.
    bool isWanted(const std::shared_ptr<emulator::Client>& client) const EXCLUDES(mLock);
    void wake() const;
    void await(int fd, std::chrono::milliseconds limit) const;

    void follow() EXCLUDES(mLock);
    void greet();
    void pass(const Json& page);
    bool add(const Json& entries);
    void showState();
    void showSnapshot();
    Json ask(const std::string& path, const Json& values = Json::object());

    const Emulator& mEmulator;
    Store& mStore;
    const FolderWatch mFolderWatch;
    const android::base::unique_fd mWake;  // an eventfd

    mutable android::Mutex mLock;
    int mPages GUARDED_BY(mLock) = 0;
    // Cancelled when the last page goes.
    std::shared_ptr<emulator::Client> mClient GUARDED_BY(mLock);

    // The thread of run() alone uses it.
    std::optional<Followed> mFollowed;
};

}  // namespace ui
