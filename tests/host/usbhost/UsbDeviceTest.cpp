// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <errno.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <usbhost/usbhost.h>

#include <filesystem>
#include <memory>
#include <string>

#include "tests/host/cutils/PrivateWorld.h"

namespace {

constexpr const char* kNode = "/dev/bus/usb/001/002";

// A device descriptor; `strings` are the indices of manufacturer, product and serial.
std::string descriptorOf(uint16_t vendor, uint16_t product, const std::string& strings) {
    std::string bytes = {18, 1, 0, 2, 0, 0, 0, 64};
    bytes += static_cast<char>(vendor & 0xff);
    bytes += static_cast<char>(vendor >> 8);
    bytes += static_cast<char>(product & 0xff);
    bytes += static_cast<char>(product >> 8);
    bytes += {0, 2};
    bytes += strings;
    bytes.push_back(1);
    return bytes;
}

const std::string kLoader = descriptorOf(0x0483, 0xdf11, {1, 2, 3});

using Device = std::unique_ptr<usb_device, void (*)(usb_device*)>;

Device open(const char* node = kNode) {
    return {usb_device_open(node), usb_device_close};
}

class UsbDeviceTest : public testing::Test {
  protected:
    UsbDeviceTest() {
        std::filesystem::create_directories("/dev/bus/usb/001");
        std::filesystem::create_directories("/sys/bus/usb/devices/1-1");
    }

    void expectRefused(const std::string& content) {
        writeFile(kNode, content);
        errno = 0;
        EXPECT_EQ(nullptr, open());
        EXPECT_EQ(EINVAL, errno);
    }
};

std::string taken(char* text) {
    std::string copy = text == nullptr ? "(null)" : text;
    free(text);
    return copy;
}

}  // namespace

TEST_F(UsbDeviceTest, ANodeTellsItsIdentity) {
    writeFile(kNode, descriptorOf(0x3e91, 0x6a2f, {0, 0, 0}));
    Device device = open();
    ASSERT_NE(nullptr, device);
    EXPECT_EQ(0x3e91, usb_device_get_vendor_id(device.get()));
    EXPECT_EQ(0x6a2f, usb_device_get_product_id(device.get()));
}

TEST_F(UsbDeviceTest, WhatFollowsTheDescriptorDoesNotMatter) {
    writeFile(kNode, kLoader + std::string(1 << 20, 'x'));
    Device device = open();
    ASSERT_NE(nullptr, device);
    EXPECT_EQ(0xdf11, usb_device_get_product_id(device.get()));
}

TEST_F(UsbDeviceTest, ANodeThatIsNoDescriptorIsRefused) {
    expectRefused("");
    expectRefused(kLoader.substr(0, 17));
    expectRefused("3e91:6a2f, a text of some length\n");
    std::string wrongType = kLoader;
    wrongType[1] = 2;
    expectRefused(wrongType);
    std::string wrongLength = kLoader;
    wrongLength[0] = 17;
    expectRefused(wrongLength);
}

TEST_F(UsbDeviceTest, AMissingNodeIsRefused) {
    EXPECT_EQ(nullptr, open());
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ(nullptr, open(nullptr));
    EXPECT_EQ(EINVAL, errno);
}

TEST_F(UsbDeviceTest, AFolderOrFifoIsRefusedWithoutWaiting) {
    EXPECT_EQ(nullptr, open("/dev/bus/usb/001"));
    ASSERT_EQ(0, mkfifo(kNode, 0600));
    EXPECT_EQ(nullptr, open());
}

TEST_F(UsbDeviceTest, ANodeThatCannotBeWrittenIsOpenedForReading) {
    writeFile(kNode, kLoader);
    ASSERT_EQ(0, mount(nullptr, "/dev", nullptr, MS_REMOUNT | MS_RDONLY, nullptr));
    Device device = open();
    ASSERT_NE(nullptr, device);
    EXPECT_EQ(0x0483, usb_device_get_vendor_id(device.get()));
}

TEST_F(UsbDeviceTest, ANodeThatDoesNotAnswerHasItsStringsFromSysfs) {
    writeFile(kNode, kLoader);
    writeFile("/sys/bus/usb/devices/1-1/busnum", "1\n");
    writeFile("/sys/bus/usb/devices/1-1/devnum", "2\n");
    writeFile("/sys/bus/usb/devices/1-1/manufacturer", "QMX\n");
    writeFile("/sys/bus/usb/devices/1-1/product", "TQC330R\n");
    writeFile("/sys/bus/usb/devices/1-1/serial", "00000000001B\n");
    Device device = open();
    ASSERT_NE(nullptr, device);
    EXPECT_EQ("QMX", taken(usb_device_get_manufacturer_name(device.get(), 200)));
    EXPECT_EQ("TQC330R", taken(usb_device_get_product_name(device.get(), 200)));
    EXPECT_EQ("00000000001B", taken(usb_device_get_serial(device.get(), 200)));
}

TEST_F(UsbDeviceTest, WithoutEitherThereIsNoString) {
    writeFile(kNode, kLoader);
    Device device = open();
    ASSERT_NE(nullptr, device);
    EXPECT_EQ("(null)", taken(usb_device_get_serial(device.get(), 200)));
    EXPECT_EQ("(null)", taken(usb_device_get_product_name(device.get(), 0)));
    EXPECT_EQ("(null)", taken(usb_device_get_manufacturer_name(device.get(), -1)));
}

TEST_F(UsbDeviceTest, ClosingNothingIsAllowed) {
    usb_device_close(nullptr);
}

TEST_F(UsbDeviceTest, OpeningAndRefusingKeepNoDescriptor) {
    auto descriptors = [] {
        auto entries = std::filesystem::directory_iterator("/proc/self/fd");
        return std::distance(begin(entries), end(entries));
    };
    writeFile(kNode, kLoader);
    auto before = descriptors();
    open();
    writeFile(kNode, "short");
    open();
    EXPECT_EQ(before, descriptors());
}
