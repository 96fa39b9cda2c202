// What the threads that watch /dev (DevWatch.cpp) and the USB bus (BusWatch.cpp) share with the
// thread that ends them.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "kernel/base/Mutex.h"

struct usb_host_context;

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Tells the USB notify thread to stop before its next wait. Set by the SIGUSR1 handler and where
// the constructor gives up; cleared where the constructor begins.
extern std::atomic<bool> sDestroy;

struct UsbWatches {
    // The two threads. Each stores its own id before it publishes what makes others join it:
    // mUsbHostContext and mInotifyFd.
    pthread_t mUsbThread = {};
    pthread_t mUsbNotifyThread = {};
    // Made and used by the USB thread; null again once a join has taken it, which releases it when
    // that thread has ended.
    std::atomic<usb_host_context*> mUsbHostContext = nullptr;
    // The notify thread's inotify descriptor, closed by that thread alone; -1 for none.
    std::atomic<int32_t> mInotifyFd = -1;
    // Makes each stop of the two threads one step: held while they are joined, so that no thread
    // joins one twice, or goes on before they have ended.
    Mutex mUsbJoinLock;

    // Before the threads are started. False, with errno set, when there can be no stop.
    bool prepare();

    // Waits without a time limit until `fd` can be read or has failed. Its poll() events; 0 when
    // the thread is to end; negative, with errno set, when the wait failed.
    int await(int fd) const;

    // Stops and joins both threads; see Bivista::usbThreadJoin.
    void join(const char* function) EXCLUDES(mUsbJoinLock);

  private:
    // eventfd that ends the waits of both threads: closing the inotify descriptor that a thread
    // waits on would not. Never read, so that it stays readable for good.
    int mStopFd = -1;
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
