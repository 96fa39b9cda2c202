// The cover's USB device, and its loader, as libusbhost reports them on the USB thread.

#include <cstdlib>
#include <cstring>
#include <memory>

#include <usbhost/usbhost.h>

#include "kernel/Bivista.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr uint16_t kCoverVendor = 0x3E91;
constexpr uint16_t kCoverProduct = 0x6A2F;
constexpr uint16_t kLoaderVendor = 0x0483;
constexpr uint16_t kLoaderProduct = 0xDF11;

constexpr int kStringTimeoutMs = 200;

constexpr const char* kRecoveryModels[] = {"TQC330R", "TQA110R", "TQB220R"};
// The loader's serial number tells how the cover got there.
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

// libusbhost's name of the attached cover, null when there is none. USB thread only.
char* sUsbDeviceName = nullptr;

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

}  // namespace

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
        free(sUsbDeviceName);
        sUsbDeviceName = strdup(devname);
        service.mUsbAttached = true;
    } else if (vendor == kLoaderVendor && product == kLoaderProduct) {
        loaderAdded(service, device.get());
    }
    return 0;
}

int Bivista::usbDeviceRemoved(const char* devname, void* client) {
    if (sUsbDeviceName == nullptr || strcmp(sUsbDeviceName, devname) != 0) return 0;
    LOG_INFO("========== Bivista Unattached");
    static_cast<Bivista*>(client)->mUsbAttached = false;
    free(sUsbDeviceName);
    sUsbDeviceName = nullptr;
    return 0;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
