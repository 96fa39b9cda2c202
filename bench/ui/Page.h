// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// An open page, as its server sees it.
#pragma once

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <utils/Mutex.h>

namespace bench {

class Page {
  public:
    // `address` is the line that the server prints. Ends the program when it cannot connect.
    explicit Page(const std::string& address);
    ~Page();
    Page(const Page&) = delete;
    Page& operator=(const Page&) = delete;

    // Everything that the emulator had kept has arrived.
    bool isLoaded() const { return mIsLoaded; }
    // Milliseconds from each uevent's wall clock to its arrival here.
    std::vector<double> latencies() const EXCLUDES(mLock);

  private:
    void read() EXCLUDES(mLock);
    void take(const std::string& event) EXCLUDES(mLock);

    int mSocket = -1;
    std::atomic<bool> mIsLoaded = false;
    mutable android::Mutex mLock;
    std::vector<double> mLatencies GUARDED_BY(mLock);
    std::thread mThread;
};

}  // namespace bench
