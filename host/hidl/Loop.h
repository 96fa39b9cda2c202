// The one thread that Cap'n Proto runs on.
#pragma once

#include <kj/async-io.h>
#include <kj/async-unix.h>
#include <utils/Mutex.h>

#include <memory>
#include <vector>

#include "RpcThreads.h"
#include "UniqueFd.h"

namespace android::hardware {

// Started when it is first asked for: a process that never uses HIDL has no such thread, and may
// fork. Everything of kj and capnp is made, used and destroyed on it; nothing of the user's is.
class Loop : private kj::TaskSet::ErrorHandler {
  public:
    // Never destroyed.
    static Loop& get();

    // From any thread: runs the job on the loop thread, in the order of these calls.
    void post(std::unique_ptr<Job> job);

    // On the loop thread only.
    kj::AsyncIoContext& io() { return *mIo; }
    // Keeps the promise going; a failure is logged.
    void keep(kj::Promise<void> promise) { mTasks->add(kj::mv(promise)); }

  private:
    Loop();
    void run();
    void runPosted();
    void taskFailed(kj::Exception&& exception) override;

    const UniqueFd mWake;
    Mutex mMutex;
    std::vector<std::unique_ptr<Job>> mPosted GUARDED_BY(mMutex);
    kj::AsyncIoContext* mIo = nullptr;
    kj::TaskSet* mTasks = nullptr;
};

}  // namespace android::hardware
