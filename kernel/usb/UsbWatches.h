// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The two watches for the cover: of /dev (DevWatch.cpp) and of the USB bus (BusWatch.cpp). Here is
// what their threads share with the thread that ends them.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "kernel/base/Mutex.h"

struct usb_host_context;

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Stops the USB notify thread before its next wait. The SIGUSR1 handler sets the flag, and so does
// a constructor that gives up. The constructor clears the flag as it begins.
extern std::atomic<bool> sDestroy;

struct UsbWatches {
    // The two threads. Each stores its own id before it publishes mUsbHostContext or mInotifyFd,
    // for which a stop joins it.
    pthread_t mUsbThread = {};
    pthread_t mUsbNotifyThread = {};
    // The USB thread makes and uses the context. A join takes it, which makes this null, and
    // releases it when the USB thread has ended.
    std::atomic<usb_host_context*> mUsbHostContext = nullptr;
    // The notify thread's inotify descriptor, closed by that thread alone; -1 for none.
    std::atomic<int32_t> mInotifyFd = -1;
    // Makes each stop of the two threads one step. Held while they are joined: no thread joins one
    // of them twice, or goes on before both have ended.
    Mutex mUsbJoinLock{"mUsbJoinLock"};

    // Call before the threads start. False, with errno set, when they could not be stopped.
    bool prepare();

    // Waits without a time limit until `fd` is ready. Returns its poll() events, 0 when the thread
    // is to end, or a negative value with errno set when the wait failed.
    int await(int fd) const;

    // Stops and joins both threads; see Bivista::usbThreadJoin.
    void join(const char* function) EXCLUDES(mUsbJoinLock);

  private:
    // eventfd that ends the waits of both threads. To close a thread's inotify descriptor would not
    // end its wait. Never read, so that it stays readable for good.
    int mStopFd = -1;
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
