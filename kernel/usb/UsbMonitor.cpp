// The two threads that watch for the cover: one for its nodes in /dev, one for its USB device.

#include "kernel/usb/UsbMonitor.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>
#include <usbhost/usbhost.h>

#include "kernel/Bivista.h"
#include "kernel/base/Descriptor.h"
#include "kernel/base/ThreadName.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr char kFunction[] = "usbNotifyThread";

constexpr long kCoverVendor = 0x3E91;
constexpr long kCoverProduct = 0x6A2F;

constexpr char kTtyPrefix[] = "ttyACM";
constexpr char kHidPrefix[] = "hidraw";

constexpr size_t kBufferSize = 1024;
// What the kernel's entry of a short name takes.
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

bool isCover(const char* vendorFormat, const char* productFormat, const char* name) {
    long id = 0;
    if (!readId(vendorFormat, name, &id) || id != kCoverVendor) return false;
    return readId(productFormat, name, &id) && id == kCoverProduct;
}

bool isThere(const char* path) {
    return access(path, F_OK) == 0;
}

// Whether a node that nothing told of is there.
bool isPresent(const char* node) {
    const std::string path = std::string("/dev/") + node;
    if (!isThere(path.c_str())) return false;
    LOG_DEBUG("%s: access \"%s\" OK", kFunction, path.c_str());
    return true;
}

bool isGone(const DevicePath& devicePath) {
    char path[DevicePath::kCapacity];
    devicePath.copyTo(path);
    return !isThere(path);
}

// poll() without a time limit.
int waitFor(pollfd (&fds)[2]) {
    int ready = 0;
    do {
        ready = poll(fds, 2, -1);
    } while (ready < 0 && errno == EINTR);
    return ready;
}

}  // namespace

void* Bivista::usbNotifyThread(void* service) {
    nameThread("usb-notify");
    Bivista* const self = static_cast<Bivista*>(service);
    LOG_DEBUG("%s: creating", kFunction);
    self->mUsbNotifyThread = pthread_self();
    const int fd = inotify_init1(IN_CLOEXEC);
    if (fd < 0) {
        LOG_ERROR("%s: failed to init inotify: %s", kFunction, strerror(errno));
    } else {
        self->mInotifyFd = fd;
        if (inotify_add_watch(fd, "/dev", IN_CREATE | IN_DELETE) < 0) {
            LOG_ERROR("%s: failed to add watch: %s", kFunction, strerror(errno));
        } else {
            self->watchDevFolder();
        }
        self->mInotifyFd = -1;
        close(fd);
    }
    LOG_DEBUG("%s: exiting", kFunction);
    return nullptr;
}

void Bivista::watchDevFolder() {
    // Meant: nodes that are there at the start are handled before the destroy flag is looked at.
    lookForNodes();
    alignas(inotify_event) char buffer[kBufferSize];
    ssize_t count = 0;
    while (!sDestroy && waitForNotify(buffer, sizeof(buffer), &count)) {
        dispatchNotify(buffer, count);
    }
}

// Handles nodes that are there already as if they were just created.
void Bivista::lookForNodes() {
    const bool hid = !mHidDisplayAttached && isPresent("hidraw0");
    const bool tty = !mSerialAttached && isPresent("ttyACM0");
    const ssize_t count = kEntrySize * (static_cast<int>(hid) + static_cast<int>(tty));
    if (hid) handleNotify(IN_CREATE, "hidraw0", count);
    if (tty) handleNotify(IN_CREATE, "ttyACM0", count);
}

// Waits for events and reads them. False when the thread is to end.
bool Bivista::waitForNotify(char* buffer, size_t capacity, ssize_t* count) {
    pollfd fds[] = {{mInotifyFd, POLLIN, 0}, {mStopFd, POLLIN, 0}};
    const int ready = waitFor(fds);
    *count = -1;
    if (fds[1].revents != 0) {
        // usbThreadJoin has asked for the descriptor to be closed: as a read of a closed one.
        errno = EBADF;
    } else if (ready >= 0) {
        *count = read(mInotifyFd, buffer, capacity);
    }
    if (*count >= 0) return true;
    LOG_ERROR("%s: failed to read notify: %s", kFunction, strerror(errno));
    return false;
}

void Bivista::dispatchNotify(const char* buffer, ssize_t count) {
    for (ssize_t offset = 0; offset < count;) {
        const inotify_event* event = reinterpret_cast<const inotify_event*>(buffer + offset);
        // Overflow and removal events carry no name.
        handleNotify(event->mask, event->len > 0 ? event->name : "", count);
        if ((event->mask & IN_Q_OVERFLOW) != 0) recoverFromOverflow();
        offset += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    }
}

// `count`: the bytes of the read that brought it.
void Bivista::handleNotify(uint32_t mask, const char* name, ssize_t count) {
    LOG_DEBUG("%s: read:%zd mask:0x%08x name:%s", kFunction, count, mask, name);
    if (startsWith(name, kTtyPrefix)) {
        handleTtyEvent(mask, name);
    } else if (startsWith(name, kHidPrefix)) {
        handleHidEvent(mask, name);
    }
}

// Entries were lost: makes up for the removals and creations among them.
void Bivista::recoverFromOverflow() {
    if (mHidDisplayAttached && isGone(mHidDevicePath)) {
        handleHidEvent(IN_DELETE, mHidDevicePath.name().c_str());
    }
    if (mSerialAttached && isGone(mSerialDevicePath)) {
        handleTtyEvent(IN_DELETE, mSerialDevicePath.name().c_str());
    }
    lookForNodes();
}

void Bivista::handleTtyEvent(uint32_t mask, const char* name) {
    LOG_DEBUG("%s: mSerialAttached:%d", kFunction, mSerialAttached.load());
    if ((mask & IN_CREATE) != 0 && !mSerialAttached) {
        if (!isCover("/sys/class/tty/%s/device/../idVendor",
                     "/sys/class/tty/%s/device/../idProduct", name)) {
            return;
        }
        LOG_INFO("========== %s create", name);
        mSerialDevicePath.set(name);
        resetAutoSuspendVotes();
        usbAutoSuspend(true, false);
        serialDeviceAdded();
    } else if ((mask & IN_DELETE) != 0 && mSerialAttached && mSerialDevicePath.name() == name) {
        LOG_INFO("========== %s delete", name);
        serialDeviceRemoved();
        mSerialDevicePath.clear();
    }
}

void Bivista::handleHidEvent(uint32_t mask, const char* name) {
    LOG_DEBUG("%s: mHidDisplayAttached:%d", kFunction, mHidDisplayAttached.load());
    if ((mask & IN_CREATE) != 0 && !mHidDisplayAttached) {
        if (!isCover("/sys/class/hidraw/%s/device/../../idVendor",
                     "/sys/class/hidraw/%s/device/../../idProduct", name)) {
            return;
        }
        LOG_INFO("========== %s create", name);
        mHidDevicePath.set(name);
        hidDisplayDeviceAdded();
    } else if ((mask & IN_DELETE) != 0 && mHidDisplayAttached && mHidDevicePath.name() == name) {
        LOG_INFO("========== %s delete", name);
        hidDisplayDeviceRemoved();
        mHidDevicePath.clear();
    }
}

void* Bivista::usbThread(void* service) {
    nameThread("usb");
    Bivista* const self = static_cast<Bivista*>(service);
    LOG_DEBUG("%s: creating", __func__);
    self->mUsbThread = pthread_self();
    if (usb_host_context* context = usb_host_init()) {
        self->mUsbHostContext = context;
        self->watchUsb(context);
    }
    LOG_DEBUG("%s: exiting", __func__);
    return nullptr;
}

// Meant: not usb_host_run. On the phone nothing ends that loop: cleaning up would leave it asleep
// on a closed descriptor, with a context that is freed.
void Bivista::watchUsb(usb_host_context* context) {
    const int fd = usb_host_get_fd(context);
    int done = usb_host_load(context, usbDeviceAdded, usbDeviceRemoved, nullptr, this);
    while (done == 0 && waitForUsb(fd)) done = usb_host_read_event(context);
}

// Waits for libusbhost's descriptor. False when the thread is to end.
bool Bivista::waitForUsb(int fd) const {
    pollfd fds[] = {{fd, POLLIN, 0}, {mStopFd, POLLIN, 0}};
    if (waitFor(fds) < 0) {
        LOG_ERROR("%s: failed to poll: %s", "usbThread", strerror(errno));
        return false;
    }
    return fds[1].revents == 0 && (fds[0].revents & POLLIN) != 0;
}

void Bivista::usbThreadJoin() {
    const MutexLock lock(mUsbJoinLock, __func__);
    // Asked before both threads are stopped: the notify thread takes the descriptor back as it
    // ends.
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
