// Services and clients in processes of their own, and the directory where they meet.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <functional>
#include <string>

#include "FakeBivista.h"

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

// A forked process. Fork before this process uses HIDL.
class Child {
  public:
    // The child runs `body`, with a function that tells the parent to go on; it exits with what
    // the body returns.
    using Ready = std::function<void()>;
    explicit Child(const std::function<int(Ready)>& body);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t pid() const { return mPid; }
    // Blocks until the child called Ready; false when it ended without.
    bool waitUntilReady();
    void kill(int signal);
    // Exit status, or 128 plus the signal that ended it.
    int wait();

  private:
    pid_t mPid;
    int mReady[2];
    bool mWaited = false;
};

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
