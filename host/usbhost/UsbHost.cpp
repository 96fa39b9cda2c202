// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <usbhost/usbhost.h>

#include <android-base/unique_fd.h>
#include <errno.h>
#include <poll.h>
#include <stdint.h>
#include <sys/eventfd.h>
#include <utils/Mutex.h>

#include <atomic>
#include <deque>
#include <map>
#include <memory>

#include "DeviceTree.h"

namespace {

using usbhost::Change;
using usbhost::DeviceTree;

struct Callbacks {
    usb_device_added_cb added;
    usb_device_removed_cb removed;
    usb_discovery_done_cb done;
    void* data;

    // Returns what the callback asks for: true to end the loop.
    bool report(const Change& change) const {
        auto callback = change.kind == Change::ADDED ? added : removed;
        return callback != nullptr && callback(change.node.c_str(), data) != 0;
    }

    bool reportDone() const { return done != nullptr && done(data) != 0; }
};

// The life of one context. stop() may be called by any thread, the rest by the one that runs it.
class Loop {
  public:
    bool ok() const { return mTree.fd() >= 0 && mStopEvent >= 0; }

    int fd() const { return mTree.fd(); }

    // Reports what is there. Returns whether to go on.
    bool load(const Callbacks& callbacks) {
        mCallbacks = callbacks;
        std::deque<Change> changes;
        mTree.start(&changes);
        return deliver(&changes) && !mCallbacks.reportDone() && !mStopped;
    }

    // Reports what has changed, if anything. Returns whether to go on.
    bool readEvents() {
        std::deque<Change> changes;
        mTree.read(&changes);
        return deliver(&changes);
    }

    // Returns false when the loop is to end.
    bool waitForChange() {
        pollfd waits[] = {{mTree.fd(), POLLIN, 0}, {mStopEvent.get(), POLLIN, 0}};
        while (!mStopped) {
            if (poll(waits, 2, -1) > 0) return !mStopped;
            if (errno != EINTR) return false;
        }
        return false;
    }

    void stop() {
        mStopped = true;
        eventfd_write(mStopEvent.get(), 1);
    }

  private:
    // Returns whether to go on.
    bool deliver(std::deque<Change>* changes) {
        while (!changes->empty()) {
            const Change change = changes->front();
            changes->pop_front();
            if (mStopped || mCallbacks.report(change)) return false;
        }
        return !mStopped;
    }

    Callbacks mCallbacks = {};
    DeviceTree mTree{"/dev"};
    android::base::unique_fd mStopEvent{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    std::atomic<bool> mStopped = false;
};

// The live contexts. A usb_host_context* is a ticket, never an address: a context that was cleaned
// up is not found any more, so a call that comes late touches no freed memory, and no number is
// given twice.
class Contexts {
  public:
    usb_host_context* add(std::shared_ptr<Loop> loop) {
        android::AutoMutex hold(mLock);
        mLoops.emplace(++mLastTicket, std::move(loop));
        return reinterpret_cast<usb_host_context*>(mLastTicket);
    }

    std::shared_ptr<Loop> find(usb_host_context* context) {
        android::AutoMutex hold(mLock);
        auto found = mLoops.find(reinterpret_cast<uintptr_t>(context));
        return found == mLoops.end() ? nullptr : found->second;
    }

    std::shared_ptr<Loop> remove(usb_host_context* context) {
        android::AutoMutex hold(mLock);
        auto node = mLoops.extract(reinterpret_cast<uintptr_t>(context));
        return node.empty() ? nullptr : std::move(node.mapped());
    }

  private:
    // A leaf: nothing is called with it held.
    android::Mutex mLock;
    std::map<uintptr_t, std::shared_ptr<Loop>> mLoops GUARDED_BY(mLock);
    uintptr_t mLastTicket GUARDED_BY(mLock) = 0;
};

Contexts& contexts() {
    // Never destroyed: a loop may still run when the process exits.
    static auto* contexts = new Contexts;
    return *contexts;
}

}  // namespace

usb_host_context* usb_host_init() {
    auto loop = std::make_shared<Loop>();
    return loop->ok() ? contexts().add(std::move(loop)) : nullptr;
}

int usb_host_load(usb_host_context* context, usb_device_added_cb added_cb,
                  usb_device_removed_cb removed_cb, usb_discovery_done_cb discovery_done_cb,
                  void* client_data) {
    std::shared_ptr<Loop> loop = contexts().find(context);
    return loop && loop->load({added_cb, removed_cb, discovery_done_cb, client_data}) ? 0 : 1;
}

int usb_host_get_fd(usb_host_context* context) {
    std::shared_ptr<Loop> loop = contexts().find(context);
    return loop ? loop->fd() : -1;
}

int usb_host_read_event(usb_host_context* context) {
    std::shared_ptr<Loop> loop = contexts().find(context);
    return loop && loop->readEvents() ? 0 : 1;
}

void usb_host_run(usb_host_context* context, usb_device_added_cb added_cb,
                  usb_device_removed_cb removed_cb, usb_discovery_done_cb discovery_done_cb,
                  void* client_data) {
    // Held until the loop has ended, even if another thread cleans up meanwhile.
    std::shared_ptr<Loop> loop = contexts().find(context);
    if (!loop) return;
    int done = usb_host_load(context, added_cb, removed_cb, discovery_done_cb, client_data);
    while (done == 0 && loop->waitForChange()) done = usb_host_read_event(context);
}

void usb_host_cleanup(usb_host_context* context) {
    std::shared_ptr<Loop> loop = contexts().remove(context);
    if (loop) loop->stop();
}
