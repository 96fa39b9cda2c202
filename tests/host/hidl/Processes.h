// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Services and clients in processes of their own, and the directory where they meet.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <functional>
#include <string>

#include "FakeBivista.h"
#include "tests/support/Process.h"

namespace hidltest {

// A service directory of the test's own, in HIDL_SOCKET_DIR; removed afterwards.
class ServiceDirectory {
  public:
    ServiceDirectory();
    ~ServiceDirectory();
    const std::string& path() const { return mPath; }

  private:
    std::string mPath;
};

// Fork before this process uses HIDL.
using Child = support::Process;

// A process that serves `make()` as "default" on its main thread, as a HAL does.
class ServiceChild : public Child {
  public:
    explicit ServiceChild(const std::function<sp<IBivista>()>& make);
};

// The service, which must be there.
sp<IBivista> getService();

// A socket that is connected to the service, for those who speak by hand.
int connectToService(const ServiceDirectory& directory);

// Counts of a process, from /proc.
size_t threadsOf(pid_t process);
size_t descriptorsOf(pid_t process);

// Waits until the condition holds. One that never does hangs, and the test's time limit ends it.
void waitUntil(const std::function<bool()>& condition);

}  // namespace hidltest
