// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The watch of the USB bus: on its thread libusbhost reports the cover's USB device and the cover's
// loader.

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <poll.h>
#include <usbhost/usbhost.h>

#include "diagnostics/Statistics.h"
#include "kernel/Bivista.h"
#include "kernel/base/ThreadName.h"
#include "kernel/usb/UsbIds.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr int kStringTimeoutMs = 200;

constexpr const char* kRecoveryModels[] = {"TQC330R", "TQA110R", "TQB220R"};
// A loader's serial number gives its cause: a command to the cover, or a cover without firmware.
constexpr char kNormalLoaderSerial[] = "00000000001A";
constexpr char kErrorLoaderSerial[] = "00000000001B";

struct DeviceCloser {
    void operator()(usb_device* device) const { usb_device_close(device); }
};
using Device = std::unique_ptr<usb_device, DeviceCloser>;

struct Freer {
    void operator()(char* text) const { free(text); }
};
using Text = std::unique_ptr<char, Freer>;

// libusbhost's names of the attached cover and of a loader, null when there is none. USB thread
// only.
char* sUsbDeviceName = nullptr;
char* sLoaderName = nullptr;

void keepName(char** slot, const char* devname) {
    free(*slot);
    *slot = strdup(devname);
}

// Clears the slot if it holds this device's name, and returns whether it did.
bool forgetName(char** slot, const char* devname) {
    if (*slot == nullptr || strcmp(*slot, devname) != 0) return false;
    free(*slot);
    *slot = nullptr;
    return true;
}

bool isRecoveryModel(const char* product) {
    for (const char* model : kRecoveryModels) {
        if (strcmp(product, model) == 0) return true;
    }
    return false;
}

void loaderAdded(Bivista& service, usb_device* device) {
    static constexpr char kFunction[] = "usbDeviceAdded";
    const Text serial(usb_device_get_serial(device, kStringTimeoutMs));
    if (serial == nullptr) {
        LOG_ERROR("%s : serial is null in dload mode ", kFunction);
        return;
    }
    LOG_INFO("%s : serial is %s", kFunction, serial.get());
    const Text product(usb_device_get_product_name(device, kStringTimeoutMs));
    if (product == nullptr) {
        LOG_ERROR("%s : product_name is null in dload mode ", kFunction);
        return;
    }
    LOG_INFO("%s : product_name is %s", kFunction, product.get());
    if (!isRecoveryModel(product.get())) {
        LOG_INFO("%s : %s recovery not supported", kFunction, product.get());
        return;
    }
    if (strcmp(serial.get(), kNormalLoaderSerial) == 0) {
        LOG_INFO("%s : normal dload mode", kFunction);
    } else if (strcmp(serial.get(), kErrorLoaderSerial) == 0) {
        LOG_INFO("%s : error dload mode", kFunction);
        service.doRecoveryUpgrade();
        LOG_DEBUG("%s: doRecoveryUpgrade called", kFunction);
    }
}

// Waits for libusbhost's descriptor. False when the thread is to end.
bool awaitEvent(const UsbWatches& watches, int fd) {
    const int events = watches.await(fd);
    if (events < 0) {
        LOG_ERROR("%s: failed to poll: %s", "usbThread", strerror(errno));
        return false;
    }
    return (events & POLLIN) != 0;
}

}  // namespace

// Meant: not usb_host_run. On the phone nothing ends that loop: cleaning up would leave it asleep
// on a closed descriptor, with a context that is freed.
void* Bivista::usbThread(void* service) {
    nameThread("usb");
    UsbWatches& watches = static_cast<Bivista*>(service)->mUsbWatches;
    LOG_DEBUG("%s: creating", __func__);
    watches.mUsbThread = pthread_self();
    if (usb_host_context* context = usb_host_init()) {
        watches.mUsbHostContext = context;
        const int fd = usb_host_get_fd(context);
        int done = usb_host_load(context, usbDeviceAdded, usbDeviceRemoved, nullptr, service);
        while (done == 0 && awaitEvent(watches, fd)) done = usb_host_read_event(context);
    }
    LOG_DEBUG("%s: exiting", __func__);
    return nullptr;
}

int Bivista::usbDeviceAdded(const char* devname, void* client) {
    Bivista& service = *static_cast<Bivista*>(client);
    const Device device(usb_device_open(devname));
    if (device == nullptr) {
        LOG_ERROR("usb_device_open failed");
        return 0;
    }
    const uint16_t vendor = usb_device_get_vendor_id(device.get());
    const uint16_t product = usb_device_get_product_id(device.get());
    if (vendor == kCoverVendor && product == kCoverProduct) {
        LOG_INFO("========== Bivista Attached");
        LOG_DEBUG("%s: %s idVendor:%04x idProduct:%04x", __func__, devname, vendor, product);
        keepName(&sUsbDeviceName, devname);
        service.mUsbAttached = true;
        sStatistics.record(EventKind::kAttach, "usb");
    } else if (vendor == kLoaderVendor && product == kLoaderProduct) {
        keepName(&sLoaderName, devname);
        service.mLoaderAttached = true;
        sStatistics.record(EventKind::kAttach, "loader");
        loaderAdded(service, device.get());
    }
    return 0;
}

int Bivista::usbDeviceRemoved(const char* devname, void* client) {
    Bivista& service = *static_cast<Bivista*>(client);
    if (forgetName(&sLoaderName, devname)) {
        service.mLoaderAttached = false;
        sStatistics.record(EventKind::kDetach, "loader");
    }
    if (!forgetName(&sUsbDeviceName, devname)) return 0;
    LOG_INFO("========== Bivista Unattached");
    service.mUsbAttached = false;
    sStatistics.record(EventKind::kDetach, "usb");
    return 0;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
