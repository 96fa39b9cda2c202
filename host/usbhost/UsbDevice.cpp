// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <usbhost/usbhost.h>

#include <android-base/unique_fd.h>
#include <endian.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/usb/ch9.h>
#include <linux/usbdevice_fs.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <string>

#include "DeviceStrings.h"

using android::base::unique_fd;

struct usb_device {
    std::string node;
    unique_fd fd;
    usb_device_descriptor descriptor;
};

namespace {

constexpr const char* kSysfsDevices = "/sys/bus/usb/devices";

unique_fd openNode(const char* node) {
    // Non-blocking, so that a FIFO of that name hangs neither the open nor the read.
    unique_fd fd(open(node, O_RDWR | O_CLOEXEC | O_NONBLOCK));
    if (fd < 0 && (errno == EACCES || errno == EPERM || errno == EROFS)) {
        fd.reset(open(node, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    }
    return fd;
}

bool readDescriptor(int fd, usb_device_descriptor* descriptor) {
    ssize_t count = TEMP_FAILURE_RETRY(pread(fd, descriptor, USB_DT_DEVICE_SIZE, 0));
    return count == USB_DT_DEVICE_SIZE && descriptor->bLength >= USB_DT_DEVICE_SIZE &&
           descriptor->bDescriptorType == USB_DT_DEVICE;
}

char* stringOf(const usb_device* device, uint8_t index, const char* sysfsFile, int timeout) {
    int fd = device->fd.get();
    auto transfer = [fd](usbdevfs_ctrltransfer* request) {
        return TEMP_FAILURE_RETRY(ioctl(fd, USBDEVFS_CONTROL, request));
    };
    std::string text =
            usbhost::stringOverUsb(transfer, index, static_cast<uint32_t>(std::max(timeout, 0)));
    if (text.empty()) text = usbhost::stringInSysfs(kSysfsDevices, device->node, sysfsFile);
    return text.empty() ? nullptr : strdup(text.c_str());
}

}  // namespace

usb_device* usb_device_open(const char* dev_name) {
    if (dev_name == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    auto device = std::make_unique<usb_device>();
    device->node = dev_name;
    device->fd = openNode(dev_name);
    if (device->fd < 0) return nullptr;
    if (!readDescriptor(device->fd.get(), &device->descriptor)) {
        errno = EINVAL;
        return nullptr;
    }
    return device.release();
}

void usb_device_close(usb_device* device) {
    delete device;
}

uint16_t usb_device_get_vendor_id(usb_device* device) {
    return le16toh(device->descriptor.idVendor);
}

uint16_t usb_device_get_product_id(usb_device* device) {
    return le16toh(device->descriptor.idProduct);
}

char* usb_device_get_manufacturer_name(usb_device* device, int timeout) {
    return stringOf(device, device->descriptor.iManufacturer, "manufacturer", timeout);
}

char* usb_device_get_product_name(usb_device* device, int timeout) {
    return stringOf(device, device->descriptor.iProduct, "product", timeout);
}

char* usb_device_get_serial(usb_device* device, int timeout) {
    return stringOf(device, device->descriptor.iSerialNumber, "serial", timeout);
}
