// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The watch of /dev: the thread that sees the cover's nodes appear and go, and attaches and
// detaches them.

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "kernel/Bivista.h"
#include "kernel/base/Descriptor.h"
#include "kernel/base/KernelPaths.h"
#include "kernel/base/ThreadName.h"
#include "kernel/usb/UsbIds.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr char kFunction[] = "usbNotifyThread";

constexpr char kTtyPrefix[] = "ttyACM";
constexpr char kHidPrefix[] = "hidraw";

// Bytes of the kernel's entry for a short name.
constexpr ssize_t kEntrySize = 2 * sizeof(inotify_event);

bool startsWith(const char* text, const char* prefix) {
    return strncmp(text, prefix, strlen(prefix)) == 0;
}

// Reads a sysfs id file, which holds a hexadecimal number. False, logged, when it cannot be read.
bool readId(const char* format, const char* name, long* id) {
    char path[PATH_MAX];
    snprintf(path, sizeof(path), format, name);
    const Descriptor file(open(path, O_RDONLY | O_CLOEXEC));
    if (!file.isOpen()) {
        LOG_ERROR("%s: failed to open \"%s\": %s", kFunction, path, strerror(errno));
        return false;
    }
    char text[1024];
    const ssize_t count = read(file.get(), text, sizeof(text) - 1);
    if (count < 0) {
        LOG_ERROR("%s: failed to read \"%s\": %s", kFunction, path, strerror(errno));
        return false;
    }
    text[count] = '\0';
    LOG_DEBUG("%s: \"%s\": %s", kFunction, path, text);
    *id = strtol(text, nullptr, 16);
    return true;
}

bool isCover(const char* vendorPath, const char* productPath, const char* name) {
    long id = 0;
    if (!readId(vendorPath, name, &id) || id != kCoverVendor) return false;
    return readId(productPath, name, &id) && id == kCoverProduct;
}

// Whether a node is there that no inotify event reported.
bool isPresent(const char* name) {
    const std::string path = std::string(kDevFolder) + "/" + name;
    if (access(path.c_str(), F_OK) != 0) return false;
    LOG_DEBUG("%s: access \"%s\" OK", kFunction, path.c_str());
    return true;
}

class DevWatch {
  public:
    DevWatch(Bivista& service, const UsbWatches& watches, AutoSuspendVotes& votes,
             SerialLink& serial, HidLink& hid)
        : mService(service),
          mWatches(watches),
          mAutoSuspendVotes(votes),
          mSerial(serial),
          mHid(hid) {}

    // Watches until the service stops its USB side.
    void run(int fd);

  private:
    void lookForNodes();
    void handle(const char* buffer, ssize_t count);
    void handleEntry(uint32_t mask, const char* name, ssize_t count);
    void recoverFromOverflow();
    void handleTty(uint32_t mask, const char* name);
    void handleHid(uint32_t mask, const char* name);

    Bivista& mService;
    const UsbWatches& mWatches;
    AutoSuspendVotes& mAutoSuspendVotes;
    SerialLink& mSerial;
    HidLink& mHid;
};

void DevWatch::run(int fd) {
    // Meant: before the first look at the destroy flag. A service that is stopped at its start also
    // attaches a cover that is there, once.
    lookForNodes();
    alignas(inotify_event) char buffer[1024];
    while (!sDestroy) {
        const int events = mWatches.await(fd);
        // A stop stands for the close of the descriptor, and is logged as a read of a closed one.
        if (events == 0) errno = EBADF;
        const ssize_t count = events > 0 ? read(fd, buffer, sizeof(buffer)) : -1;
        if (count < 0) {
            LOG_ERROR("%s: failed to read notify: %s", kFunction, strerror(errno));
            return;
        }
        handle(buffer, count);
    }
}

// Handles nodes that are there already as if they were just created.
void DevWatch::lookForNodes() {
    const bool hid = !mHid.isAttached() && isPresent("hidraw0");
    const bool tty = !mSerial.isAttached() && isPresent("ttyACM0");
    const ssize_t count = kEntrySize * (static_cast<int>(hid) + static_cast<int>(tty));
    if (hid) handleEntry(IN_CREATE, "hidraw0", count);
    if (tty) handleEntry(IN_CREATE, "ttyACM0", count);
}

void DevWatch::handle(const char* buffer, ssize_t count) {
    for (ssize_t offset = 0; offset < count;) {
        const inotify_event* event = reinterpret_cast<const inotify_event*>(buffer + offset);
        // Overflow and removal events carry no name.
        handleEntry(event->mask, event->len > 0 ? event->name : "", count);
        if ((event->mask & IN_Q_OVERFLOW) != 0) recoverFromOverflow();
        offset += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    }
}

// `count`: the bytes of the read that returned the entry.
void DevWatch::handleEntry(uint32_t mask, const char* name, ssize_t count) {
    LOG_DEBUG("%s: read:%zd mask:0x%08x name:%s", kFunction, count, mask, name);
    if (startsWith(name, kTtyPrefix)) {
        handleTty(mask, name);
    } else if (startsWith(name, kHidPrefix)) {
        handleHid(mask, name);
    }
}

// The kernel dropped entries: makes up for the removals and creations among them.
void DevWatch::recoverFromOverflow() {
    if (mHid.isAttached() && !mHid.mHidDevicePath.isThere()) {
        handleHid(IN_DELETE, mHid.mHidDevicePath.name().c_str());
    }
    if (mSerial.isAttached() && !mSerial.mSerialDevicePath.isThere()) {
        handleTty(IN_DELETE, mSerial.mSerialDevicePath.name().c_str());
    }
    lookForNodes();
}

void DevWatch::handleTty(uint32_t mask, const char* name) {
    const bool attached = mSerial.isAttached();
    LOG_DEBUG("%s: mSerialAttached:%d", kFunction, attached);
    if ((mask & IN_CREATE) != 0 && !attached) {
        if (!isCover(kTtyVendorPath, kTtyProductPath, name)) return;
        LOG_INFO("========== %s create", name);
        mSerial.mSerialDevicePath.set(name);
        mAutoSuspendVotes.reset();
        mService.usbAutoSuspend(true, false);
        mService.serialDeviceAdded();
    } else if ((mask & IN_DELETE) != 0 && attached && mSerial.mSerialDevicePath.name() == name) {
        LOG_INFO("========== %s delete", name);
        mService.serialDeviceRemoved();
        mSerial.mSerialDevicePath.clear();
    }
}

void DevWatch::handleHid(uint32_t mask, const char* name) {
    const bool attached = mHid.isAttached();
    LOG_DEBUG("%s: mHidDisplayAttached:%d", kFunction, attached);
    if ((mask & IN_CREATE) != 0 && !attached) {
        if (!isCover(kHidVendorPath, kHidProductPath, name)) return;
        LOG_INFO("========== %s create", name);
        mHid.mHidDevicePath.set(name);
        mService.hidDisplayDeviceAdded();
    } else if ((mask & IN_DELETE) != 0 && attached && mHid.mHidDevicePath.name() == name) {
        LOG_INFO("========== %s delete", name);
        mService.hidDisplayDeviceRemoved();
        mHid.mHidDevicePath.clear();
    }
}

}  // namespace

void* Bivista::usbNotifyThread(void* service) {
    nameThread("usb-notify");
    Bivista* const self = static_cast<Bivista*>(service);
    UsbWatches& watches = self->mUsbWatches;
    LOG_DEBUG("%s: creating", kFunction);
    watches.mUsbNotifyThread = pthread_self();
    const int fd = inotify_init1(IN_CLOEXEC);
    if (fd < 0) {
        LOG_ERROR("%s: failed to init inotify: %s", kFunction, strerror(errno));
    } else {
        watches.mInotifyFd = fd;
        if (inotify_add_watch(fd, kDevFolder, IN_CREATE | IN_DELETE) < 0) {
            LOG_ERROR("%s: failed to add watch: %s", kFunction, strerror(errno));
        } else {
            DevWatch(*self, watches, self->mAutoSuspendVotes, self->mSerialLink, self->mHidLink)
                    .run(fd);
        }
        watches.mInotifyFd = -1;
        close(fd);
    }
    LOG_DEBUG("%s: exiting", kFunction);
    return nullptr;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
