// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "kernel/usb/UsbWatches.h"

#include <cerrno>

#include <poll.h>
#include <sys/eventfd.h>
#include <usbhost/usbhost.h>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

std::atomic<bool> sDestroy = false;

bool UsbWatches::prepare() {
    mStopFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    return mStopFd >= 0;
}

int UsbWatches::await(int fd) const {
    pollfd fds[] = {{fd, POLLIN, 0}, {mStopFd, POLLIN, 0}};
    int ready = 0;
    do {
        ready = poll(fds, 2, -1);
    } while (ready < 0 && errno == EINTR);
    if (ready < 0) return ready;
    return fds[1].revents != 0 ? 0 : fds[0].revents;
}

void UsbWatches::join(const char* function) {
    const MutexLock lock(mUsbJoinLock, function);
    // Read before the stop: the notify thread takes its descriptor back as it ends.
    const bool watchesDev = mInotifyFd != -1;
    eventfd_write(mStopFd, 1);
    if (usb_host_context* context = mUsbHostContext.exchange(nullptr)) {
        pthread_join(mUsbThread, nullptr);
        // The USB thread used the context until here.
        usb_host_cleanup(context);
    }
    if (watchesDev) pthread_join(mUsbNotifyThread, nullptr);
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
