// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What one open page hears: the events of the store, as it takes them.
#pragma once

#include <memory>

#include <android-base/unique_fd.h>
#include <httplib.h>

#include "emulator/ui/Feed.h"
#include "emulator/ui/Store.h"

namespace ui {

class EventStream {
  public:
    // The feed runs as long as it lives. `connection` is the page's socket.
    EventStream(Store& store, Feed& feed, int connection);

    // Waits for the next events and writes them; false when the page has gone.
    bool pass(httplib::DataSink& sink);

  private:
    // Waits until the store has changed, for 15 s at most; false when the page has gone.
    bool await();

    Store& mStore;
    const int mConnection;
    const android::base::unique_fd mWake;  // an eventfd
    const std::shared_ptr<void> mOpen;
    const std::shared_ptr<void> mWatch;
    Cursor mCursor;
};

}  // namespace ui
